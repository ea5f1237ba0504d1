// What an answer of the DNS says of one name: bytes that strangers may have made. Format: RFC 1035,
// section 4. Nothing here fails; what is broken says nothing.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace webauth {

struct NamedAddress {
  std::uint32_t ip;   ///< network byte order
  std::uint32_t ttl;  ///< seconds
};

struct DnsAnswer {
  std::string
      name;  ///< that was asked for: labels behind their lengths, in lower case, no final zero
  std::vector<NamedAddress> addresses;  ///< of this name, or of what it is an alias of
};

/// Reads a whole DNS message; of more than MOST_DNS_RECORDS records only the first count. An empty
/// name: no answer to a question for an address.
DnsAnswer read_dns_answer(std::string_view message);

inline constexpr int MOST_DNS_RECORDS = 64;
inline constexpr std::size_t LONGEST_DNS_NAME = 255;  ///< its final zero included

/// The UDP payload of an IP packet that begins with its header, as far as it is there.
std::string_view udp_payload(std::string_view packet);

/// In lower case, as read_dns_answer gives names.
std::string lower_case(std::string_view labels);

}  // namespace webauth
