#include "daemon/wechat/host_name.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace webauth {
namespace {

constexpr std::size_t LONGEST_LABEL = 63;
constexpr std::ptrdiff_t MOST_LABELS = 63;

}  // namespace

bool is_ipv4_text(const char* text) {
  unsigned n[4];
  return std::sscanf(text, "%u.%u.%u.%u", &n[0], &n[1], &n[2], &n[3]) == 4;
}

int encode_dns_name(const char* name, char* output, std::size_t size) {
  const std::size_t length = std::strlen(name);
  if (is_ipv4_text(name) || length + 2 > size) return -1;
  const std::ptrdiff_t labels = std::count(name, name + length, '.') + 1;
  if (labels == 1 || labels > MOST_LABELS) return -1;
  std::memcpy(output + 1, name, length + 1);
  // The length of each label goes where its dot stood; before the first there is a byte free.
  char* before = output;
  for (std::ptrdiff_t i = 0; i < labels; ++i) {
    const std::size_t label = std::strcspn(before + 1, ".");
    if (label > LONGEST_LABEL) return -1;
    *before = static_cast<char>(label);
    before += 1 + label;
  }
  return 0;
}

}  // namespace webauth
