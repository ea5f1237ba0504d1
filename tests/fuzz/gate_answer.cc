// Packets that the rules tell of, as answers of the DNS: whatever they hold, few addresses come of
// it, and none without the name that it is of.
#include <cstdlib>

#include "gate/dns_answer.h"

using namespace webauth;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  for (const std::string_view message : {bytes, udp_payload(bytes)}) {
    const DnsAnswer answer = read_dns_answer(message);
    if (answer.addresses.size() > MOST_DNS_RECORDS || answer.name.size() >= LONGEST_DNS_NAME)
      std::abort();
    if (lower_case(answer.name) != answer.name) std::abort();
    for (const NamedAddress& address : answer.addresses) {
      const std::string raw(reinterpret_cast<const char*>(&address.ip), sizeof address.ip);
      if (message.find(raw) == std::string_view::npos) std::abort();
    }
  }
  return 0;
}
