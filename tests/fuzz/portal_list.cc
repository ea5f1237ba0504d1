// The published list: the line of an address is the first one that, read by itself, is of it.
#include <cstdlib>
#include <sstream>
#include <string>

#include "portal/published_list.h"

using namespace webauth;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const auto found = find_published_line(text, "10.0.0.1");
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    const auto one = read_published_line(line);
    if (!one || one->ip != "10.0.0.1") continue;
    if (!found || found->user != one->user || found->mac != one->mac) std::abort();
    return 0;
  }
  if (found) std::abort();
  return 0;
}
