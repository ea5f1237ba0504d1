// Table inet webauth as nft loads it: chains at priority -10 that act on packets of the LAN
// interface only, so that the table lives beside any other firewall. A refusal here is final, an
// acceptance is not.
//
// Loading is one transaction: there is no moment without rules. What fails throws
// std::runtime_error with a text for the operator.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace webauth {

inline constexpr char TABLE_NAME[] = "webauth";

/// The NFLOG group of what the rules tell the gate ("GA" as a number).
inline constexpr std::uint16_t LOG_GROUP = 0x4741;

// What the log prefix says of a packet. But for the first and the last each comes once, until the
// element that the data path makes of it is gone.
inline constexpr char LOG_USER[] =
    "user";                               ///< of a user whose MAC address is unknown, now and then
inline constexpr char LOG_MAC[] = "mac";  ///< of a listed MAC address, from one IPv4 address
inline constexpr char LOG_IP[] = "ip";    ///< of a listed address
inline constexpr char LOG_IP6[] = "ip6";  ///< of a user or a listed MAC, from one IPv6 address
inline constexpr char LOG_DNS[] = "dns";  ///< an answer of the router's DNS to a client

struct RulesetOptions {
  std::string lan;  ///< is_interface_name holds
  std::uint16_t portal_port = 8080;
  std::uint16_t portal_tls_port = 8443;
  bool ipv6 = true;          ///< a user's IPv6 passes with it
  bool refuse = true;        ///< false: drop without a word, while the elements are not in yet
  bool watch_names = false;  ///< log the answers of the router's DNS
};

/// Whether a text may stand in a rule: 1 to 15 letters, digits and "._-@:+".
bool is_interface_name(std::string_view name);

/// Makes or changes the rules; sets that exist keep their elements. When the sets that exist are
/// not of the shape that they must have, or `anew` is set, the table is replaced, without elements.
void load_ruleset(const RulesetOptions& options, bool anew = false);

/// Deletes the table, if there is one.
void remove_ruleset();

}  // namespace webauth
