// The sets of table inet webauth and changes of their elements, without the kernel.
// gate/ruleset.cc says what the rules make of each set.
//
// What admits is written by the gate alone. No set that the data path updates admits an upstream
// packet: under a flood, elements that were deleted would come back by themselves.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "common/address_text.h"

namespace webauth {

enum class PolicySet : std::uint8_t {
  USERS,           ///< addresses of clients that logged in; with their end, should the gate die
  BOUND,           ///< of them, address and MAC address where that is known
  UNBOUND,         ///< of them, the address where it is not
  USER_MACS,       ///< MAC addresses of users: their IPv6 passes; with their end likewise
  MACS,            ///< listed MAC addresses
  IPS,             ///< listed addresses
  GARDEN,          ///< reachable before login
  GARDEN_LEARNED,  ///< likewise, from the answers of the router's DNS; for a while
  GRACE_IPS,       ///< dropped without a word for the first seconds of a new daemon
  GRACE_MACS,
  REPORTED,  ///< listed clients that the daemon was told of: MAC (zeros by address), address
  ENDED,     ///< addresses of whose end it has not been told yet
  // Updated by the data path too. What an element's time-out has left tells when the last packet
  // came.
  SEEN_USERS,
  SEEN_IPS,
  SEEN_MACS,
  SEEN_MACS_IP6,  ///< IPv6 of users and listed MAC addresses
  SEEN_IP6,       ///< MAC addresses and the IPv6 addresses behind them
  MAC_IPS,        ///< downstream to listed MAC addresses
  IP6,            ///< downstream to users and listed MAC addresses
  ASKED,          ///< users whose MAC address the rules have asked to note, lately
  IP6_RATE,       ///< how many new IPv6 addresses a MAC address may show
  MAC_RATE,       ///< how many new addresses a listed one
};
inline constexpr std::size_t POLICY_SET_COUNT = 22;

/// Of GARDEN_LEARNED; the other sets that the gate alone writes have no limit.
inline constexpr std::size_t MOST_LEARNED = 8192;

struct SetShape {
  const char* name;
  const char* type;        ///< in the words of nft
  const char* properties;  ///< likewise
};

/// In the order of PolicySet.
extern const SetShape SET_SHAPES[POLICY_SET_COUNT];

inline const SetShape& shape_of(PolicySet set) { return SET_SHAPES[static_cast<std::size_t>(set)]; }

/// The time-out of the seen_ sets of IPv4: nobody is known to have been silent for longer.
inline constexpr std::int64_t SEEN_MILLISECONDS = 365LL * 24 * 3600 * 1000;

using Ip6Address = std::array<unsigned char, 16>;

/// Up to 24 bytes in network byte order; each part of a concatenation is padded to a multiple of 4.
struct ElementKey {
  std::array<unsigned char, 24> bytes{};
  std::uint8_t size = 0;

  bool operator==(const ElementKey&) const = default;
};

/// Addresses are in network byte order.
ElementKey key_of(std::uint32_t ip);
ElementKey key_of(const MacAddress& mac);
ElementKey key_of(const Ip6Address& ip6);
ElementKey key_of(std::uint32_t ip, const MacAddress& mac);
ElementKey key_of(const MacAddress& mac, std::uint32_t ip);
ElementKey key_of(const MacAddress& mac, const Ip6Address& ip6);

/// What the gate keeps with an element of USERS as its comment, so that its successor knows it.
struct UserData {
  std::int64_t since = 0;     ///< when it was admitted, steady milliseconds
  std::int64_t deadline = 0;  ///< when its time is over, 0 for never
  std::uint32_t idle = 0;     ///< seconds, 0 for none
  std::uint32_t recheck = 0;  ///< likewise

  bool operator==(const UserData&) const = default;
};

enum class ElementChange : std::uint8_t {
  ADD,     ///< also when it is there already
  REMOVE,  ///< also when it is not there
  RENEW,   ///< ADD that starts its time-out anew, in one step
  FLUSH,   ///< the whole set; the key is empty
};

struct SetChange {
  PolicySet set;
  ElementChange change;
  ElementKey key{};
  std::int64_t timeout = 0;  ///< milliseconds; 0: the set's own
  UserData data{};           ///< of USERS only
};
using SetChanges = std::vector<SetChange>;

}  // namespace webauth
