// Who may pass, for how long, and what the daemon hears of it: the gate's memory, without the
// kernel and without a clock of its own.
//
// Every function leaves in an Effects what is to be done outside: first the changes of the sets, in
// their order; then, when these hold, the rest. Nothing here waits or fails.
#pragma once

#include <compare>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "common/address_text.h"
#include "daemon/kernel/kernel_message.h"
#include "gate/gate_event.h"
#include "gate/policy_set.h"

namespace webauth {

/// Of the steady clock.
using Millis = std::int64_t;

/// A client that logged in.
struct User {
  std::uint32_t time_allowance = 0;  ///< seconds, 0 for none; as the daemon said, as is:
  std::uint32_t recheck = 0;         ///< seconds between checks of an expiry date, 0 for none
  std::uint32_t idle = 0;            ///< seconds, 0 for none
  Millis since = 0;                  ///< when it was admitted
  Millis deadline = 0;               ///< when its time is over, 0 for never
  Millis next_check = 0;
  Millis active = 0;  ///< its last packet, as far as it is known
  std::optional<MacAddress> mac;
  Millis timer = 0;  ///< when it is to be judged next
};

/// A listed client in an active period; by address the MAC address is zeros.
struct VisitorKey {
  std::uint32_t ip;
  MacAddress mac;

  auto operator<=>(const VisitorKey&) const = default;  // NOLINT(modernize-use-nullptr)
};

struct Visitor {
  Millis active = 0;
  Millis timer = 0;
};

/// A MAC address that users have; several may have the same.
struct UserMac {
  int users = 0;
  Millis deadline = 0;  ///< when the time of the last of them is over, 0 for never
};

/// What packets to a MAC address were sent to before the start of a daemon.
struct FormerAddresses {
  std::vector<std::uint32_t> ips;
  std::vector<Ip6Address> ip6;
};

struct Timer {
  Millis at;
  bool is_user;
  VisitorKey key;  ///< of a user the address alone

  auto operator<=>(const Timer&) const = default;  // NOLINT(modernize-use-nullptr)
};

struct Timeouts {
  std::uint32_t idle;     ///< seconds, 0 for none
  std::uint32_t maximum;  ///< seconds online, 0 for none
};

/// To be done again shortly after a cut: a packet that was under way may have brought it back.
struct Sweep {
  Millis at;
  MacAddress mac;  ///< unless this one may pass again
  SetChange change;
};

/// Long lists, in no order.
using IpSet = std::unordered_set<std::uint32_t>;

/// Addresses are in network byte order; names are labels as in DNS messages, in lower case.
struct SessionTable {
  std::optional<Timeouts> timeouts;
  std::unordered_map<std::uint32_t, User> users;
  std::map<VisitorKey, Visitor> visitors;
  std::set<MacAddress> macs;
  IpSet ips;
  IpSet garden;
  std::set<std::string> names;
  std::map<std::uint32_t, Millis> learned;  ///< garden by name, and until when
  std::map<MacAddress, UserMac> user_macs;
  std::map<MacAddress, std::vector<Ip6Address>> ip6;  ///< seen behind it
  std::set<std::uint32_t> ended;                      ///< the daemon has not been told yet
  std::map<MacAddress, FormerAddresses> former;
  Millis former_until = 0;
  std::set<Timer> timers;
  std::vector<Sweep> sweeps;  ///< the earliest first
};

/// What the table cannot know by itself.
struct Surroundings {
  std::function<Millis()> now;
  /// The MAC address that is known of an address for certain.
  std::function<std::optional<MacAddress>(std::uint32_t ip)> find_mac;
  /// When the data path last saw the element of a seen_ set; nothing when it is not there.
  std::function<std::optional<Millis>(PolicySet, const ElementKey&)> last_packet;
};

struct Effects {
  SetChanges changes;
  std::vector<GateEvent> events;
  std::vector<std::uint32_t> admitted;  ///< forget their redirected connections
  std::vector<std::uint32_t> cut;       ///< forget all their connections
  bool new_daemon = false;              ///< what the one before has not heard is for nobody
};

void handle_message(SessionTable& table, const KernelMessage& message, const Surroundings& around,
                    Effects& effects);

void add_garden_address(SessionTable& table, std::uint32_t ip, Effects& effects);

/// An address that the DNS has given for a name of the garden; `lifetime` in milliseconds.
void learn_address(SessionTable& table, std::uint32_t ip, Millis lifetime,
                   const Surroundings& around, Effects& effects);

/// The daemon has been told of the end of an address, or is gone.
void note_told(SessionTable& table, std::uint32_t ip, Effects& effects);

/// A packet of which the rules tell once.
struct FirstPacket {
  std::uint32_t ip = 0;  ///< 0 with IPv6
  Ip6Address ip6{};
  MacAddress mac{};  ///< zeros where the interface has none
};
void bind_user(SessionTable& table, const FirstPacket& packet, const Surroundings& around,
               Effects& effects);
void begin_visit(SessionTable& table, EntryKind kind, const FirstPacket& packet,
                 const Surroundings& around, Effects& effects);
void note_ip6(SessionTable& table, const FirstPacket& packet, Effects& effects);

/// Judges whoever's time has come, some hundred at most. True when more is due.
bool expire(SessionTable& table, const Surroundings& around, Effects& effects);

/// When `expire` is to be called next; nothing: there is nobody to be judged.
std::optional<Millis> next_deadline(const SessionTable& table);

/// A user, and a visitor, that an earlier gate has left in the sets.
void adopt_user(SessionTable& table, std::uint32_t ip, const UserData& data,
                std::optional<MacAddress> mac);
void adopt_visitor(SessionTable& table, const VisitorKey& key);

/// An end of which an earlier gate may not have told the daemon.
void adopt_ended(SessionTable& table, std::uint32_t ip, Effects& effects);

/// Calls `put` with everything that the gate writes itself, some thousand changes at a time, for
/// sets that somebody emptied. Whoever is admitted counts as active now, since the data path's
/// knowledge is gone.
void restore_elements(SessionTable& table, const Surroundings& around,
                      const std::function<void(const SetChanges&)>& put);

}  // namespace webauth
