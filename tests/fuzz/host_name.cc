// Host names, and lines of the file that holds them: an encoding is never longer than the name and
// two bytes, and its labels add up to it.
#include "wechat/host_name.h"

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string line(reinterpret_cast<const char*>(data), size);
  line = line.substr(0, line.find('\n'));
  const std::string name = line.c_str();
  std::vector<char> encoded(name.size() + 2);
  if (webauth::encode_dns_name(name.c_str(), encoded.data(), encoded.size()) != 0) return 0;
  std::size_t at = 0;
  while (encoded[at] != '\0') at += 1U + static_cast<unsigned char>(encoded[at]);
  if (at >= encoded.size() || at != std::strlen(encoded.data())) std::abort();
  return 0;
}
