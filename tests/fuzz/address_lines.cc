// Lines of the MAC list and of the IP list.
#include <cstdlib>
#include <string>

#include "base/address_text.h"
#include "kernel/access_policy.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string line(reinterpret_cast<const char*>(data), size);
  if (const auto mac = webauth::read_mac(line.c_str())) {
    if (webauth::read_mac(webauth::mac_text(*mac).c_str()) != mac) std::abort();
  }
  if (const auto range = webauth::read_ip_range(line.c_str())) {
    if (range->last - range->first >= webauth::LONGEST_RANGE) std::abort();
  }
  return 0;
}
