// The steps that the handlers of the session table share: each changes the table and notes what
// that does to the sets. Nothing here waits or fails.
#pragma once

#include <limits>

#include "gate/session_table.h"

namespace webauth {

inline constexpr Millis NEVER = std::numeric_limits<Millis>::max();

/// How long clients of the daemon before are spared after the start of a new one.
inline constexpr Millis GRACE = 5'000;

/// How many IPv6 addresses one MAC address may use at a time.
inline constexpr std::size_t MOST_IP6 = 32;

/// The element of a user, or of a user's MAC address, with what is left of its time.
void put_user(std::uint32_t ip, const User& user, ElementChange how, const Surroundings& around,
              Effects& effects);
void put_user_mac(const MacAddress& mac, const UserMac& use, ElementChange how,
                  const Surroundings& around, Effects& effects);

/// Gives a MAC address to a user who is neither bound nor unbound.
void bind(SessionTable& table, std::uint32_t ip, User& user, const MacAddress& mac,
          const Surroundings& around, Effects& effects);

/// One more user has the MAC address, or one who has it has got another deadline. True when that of
/// the MAC address is another one too.
bool count_user(UserMac& use, Millis deadline);
bool extend_user(UserMac& use, Millis deadline);

/// The user is neither bound nor unbound any more.
void unbind(SessionTable& table, std::uint32_t ip, User& user, const Surroundings& around,
            Effects& effects);

/// The user passes no longer; nobody is told.
void end_user(SessionTable& table, std::uint32_t ip, const Surroundings& around, Effects& effects);

/// The daemon is to hear of it. A successor of the gate tells it, should this one be killed before.
void report_end(SessionTable& table, std::uint32_t ip, Effects& effects);

using VisitorPosition = std::map<VisitorKey, Visitor>::iterator;

/// Takes what the sets know of an active period out of them.
void forget_visit(const VisitorKey& key, Effects& effects);

/// The active period is over; nobody is told. Returns the next visitor.
VisitorPosition end_visit(SessionTable& table, VisitorPosition visitor, Effects& effects);

/// Takes the IPv6 addresses behind a MAC address that no longer passes out of the sets; one that
/// still does keeps them.
void forget_ip6(SessionTable& table, const MacAddress& mac, const Surroundings& around,
                Effects& effects);
void remove_ip6(const MacAddress& mac, const Ip6Address& ip6, Effects& effects);

/// Remembers what a MAC address was reached by before the start of a daemon, and lets packets to it
/// pass again: the other end of a connection may be the one that goes on.
void remember_addresses(SessionTable& table, Millis now);
void resume_ip6(SessionTable& table, const MacAddress& mac, Millis now, Effects& effects);
void resume_ips(SessionTable& table, const MacAddress& mac, Millis now, Effects& effects);

/// Whether packets of this MAC address pass, whatever their address.
bool may_pass(const SessionTable& table, const MacAddress& mac);

/// An idle time-out as the gate keeps it, bounded by what the data path knows.
Millis idle_millis(std::uint32_t seconds);

/// Repeats a change in a moment, unless `mac` passes again by then.
void sweep_later(SessionTable& table, Millis now, const MacAddress& mac, const SetChange& change);

/// Sets the timer for when the user, or the visitor, is to be judged next.
void schedule(SessionTable& table, std::uint32_t ip, User& user);
void schedule(SessionTable& table, const VisitorKey& key, Visitor& visitor);

}  // namespace webauth
