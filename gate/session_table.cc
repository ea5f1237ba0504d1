#include "gate/session_table.h"

#include <algorithm>
#include <limits>

#include "gate/session_change.h"

namespace webauth {
namespace {

SetChange removal(PolicySet set, const ElementKey& key) {
  return {set, ElementChange::REMOVE, key};
}

// The point at which a user's time is over, whatever it does; 0 for never.
Millis deadline_of(Millis now, std::uint32_t maximum, std::uint32_t allowance) {
  if (maximum == 0 || (allowance != 0 && allowance < maximum)) maximum = allowance;
  return maximum == 0 ? 0 : now + Millis{maximum} * 1'000;
}

// The last end of an address is no matter any more: told now, it would end what begins.
void forget_end(SessionTable& table, std::uint32_t ip, Effects& effects) {
  if (!table.ended.contains(ip)) return;
  std::erase(effects.events, GateEvent{ENTRY_OFFLINE, ip});
  note_told(table, ip, effects);
}

void admit_user(SessionTable& table, const KernelMessage& message, const Surroundings& around,
                Effects& effects) {
  const Timeouts timeouts = table.timeouts.value_or(Timeouts{});
  const auto [entry, is_new] = table.users.try_emplace(message.ip);
  User& user = entry->second;
  user.time_allowance = message.time_allowance;
  user.recheck = message.recheck_interval;
  user.idle = timeouts.idle;
  user.since = user.active = around.now();
  user.deadline = deadline_of(user.since, timeouts.maximum, user.time_allowance);
  user.next_check = user.since + Millis{user.recheck} * 1'000;
  put_user(message.ip, user, is_new ? ElementChange::ADD : ElementChange::RENEW, around, effects);
  forget_end(table, message.ip, effects);
  const std::optional<MacAddress> mac = around.find_mac(message.ip);
  const bool is_bound_anew = mac && user.mac != mac;
  if (is_bound_anew) {
    if (!is_new) unbind(table, message.ip, user, around, effects);
    bind(table, message.ip, user, *mac, around, effects);
  } else if (user.mac && extend_user(table.user_macs[*user.mac], user.deadline)) {
    put_user_mac(*user.mac, table.user_macs[*user.mac], ElementChange::RENEW, around, effects);
  } else if (is_new) {
    effects.changes.push_back({PolicySet::UNBOUND, ElementChange::ADD, key_of(message.ip)});
  }
  schedule(table, message.ip, user);
  std::erase(effects.cut, message.ip);  // who is let in again keeps what is open
  if (is_new || is_bound_anew) effects.admitted.push_back(message.ip);
}

// What the daemon itself removes it does not hear of; a listed client is reported anew.
void remove_address(SessionTable& table, std::uint32_t ip, const Surroundings& around,
                    Effects& effects) {
  if (table.users.contains(ip)) end_user(table, ip, around, effects);
  auto at = table.visitors.lower_bound({ip, {}});
  while (at != table.visitors.end() && at->first.ip == ip) at = end_visit(table, at, effects);
}

void remove_mac(SessionTable& table, const MacAddress& mac, const Surroundings& around,
                Effects& effects) {
  if (table.macs.erase(mac) == 0) return;
  effects.changes.push_back({PolicySet::MACS, ElementChange::REMOVE, key_of(mac)});
  for (auto at = table.visitors.begin(); at != table.visitors.end();) {
    if (at->first.mac != mac) {
      ++at;
      continue;
    }
    const std::uint32_t ip = at->first.ip;
    report_end(table, ip, effects);
    effects.cut.push_back(ip);
    at = end_visit(table, at, effects);
    sweep_later(table, around.now(), mac, {PolicySet::MAC_IPS, ElementChange::REMOVE, key_of(ip)});
    sweep_later(table, around.now(), mac,
                {PolicySet::SEEN_MACS, ElementChange::REMOVE, key_of(mac, ip)});
  }
  if (!may_pass(table, mac)) {
    effects.changes.push_back({PolicySet::SEEN_MACS_IP6, ElementChange::REMOVE, key_of(mac)});
  }
  forget_ip6(table, mac, around, effects);
}

void remove_entry(SessionTable& table, const KernelMessage& message, const Surroundings& around,
                  Effects& effects) {
  // The removals of a deleted account carry kind 0, and the address of a user all the same.
  if (message.kind == ENTRY_USER || message.kind == ENTRY_MAC) {
    remove_address(table, message.ip, around, effects);
  } else if (message.kind == ENTRY_IP && table.ips.erase(message.ip) == 1) {
    effects.changes.push_back({PolicySet::IPS, ElementChange::REMOVE, key_of(message.ip)});
  }
}

void add_entry(SessionTable& table, const KernelMessage& message, const Surroundings& around,
               Effects& effects) {
  if (message.kind == ENTRY_USER) return admit_user(table, message, around, effects);
  if (message.kind == ENTRY_MAC && table.macs.insert(message.mac).second) {
    effects.changes.push_back({PolicySet::MACS, ElementChange::ADD, key_of(message.mac)});
    resume_ips(table, message.mac, around.now(), effects);
    resume_ip6(table, message.mac, around.now(), effects);
  }
  if (message.kind == ENTRY_IP && table.ips.insert(message.ip).second) {
    effects.changes.push_back({PolicySet::IPS, ElementChange::ADD, key_of(message.ip)});
  }
}

// How many listed addresses are spared that have been silent for their idle time too: of more, the
// end of everybody would have to wait.
constexpr std::size_t MOST_SPARED = 4'096;

// Who was let through before goes on in a moment, if the new daemon lets it: until then its
// connections are not to be refused.
void begin_grace(const SessionTable& table, Effects& effects) {
  const auto spare_ip = [&](std::uint32_t ip) {
    effects.changes.push_back({PolicySet::GRACE_IPS, ElementChange::RENEW, key_of(ip), GRACE});
  };
  const auto spare_mac = [&](const MacAddress& mac) {
    effects.changes.push_back({PolicySet::GRACE_MACS, ElementChange::RENEW, key_of(mac), GRACE});
  };
  for (const auto& [ip, user] : table.users) spare_ip(ip);
  const bool spares_lists = table.ips.size() <= MOST_SPARED;
  for (const auto& [key, visitor] : table.visitors) {
    if (key.mac != MacAddress{} || !spares_lists) spare_ip(key.ip);
  }
  if (spares_lists) std::for_each(table.ips.begin(), table.ips.end(), spare_ip);
  for (const auto& [mac, count] : table.user_macs) spare_mac(mac);
  for (const MacAddress& mac : table.macs) spare_mac(mac);
}

// As after any cut; but not the addresses of those that pass again by then.
void sweep_addresses(SessionTable& table, Millis now) {
  for (const auto& [key, visitor] : table.visitors) {
    if (key.mac == MacAddress{}) continue;
    sweep_later(table, now, key.mac, removal(PolicySet::MAC_IPS, key_of(key.ip)));
  }
  for (const auto& [mac, addresses] : table.ip6) {
    for (const Ip6Address& ip6 : addresses) {
      sweep_later(table, now, mac, removal(PolicySet::IP6, key_of(ip6)));
    }
  }
}

void forget_everybody(SessionTable& table, const Surroundings& around, Effects& effects) {
  effects.events.clear();  // the changes stay: the grace of a daemon that had just started too
  effects.admitted.clear();
  effects.cut.clear();
  effects.new_daemon = true;
  begin_grace(table, effects);
  sweep_addresses(table, around.now());
  remember_addresses(table, around.now());
  SessionTable fresh;
  fresh.sweeps = std::move(table.sweeps);
  fresh.former = std::move(table.former);
  fresh.former_until = table.former_until;
  table = std::move(fresh);
  for (std::size_t i = 0; i < POLICY_SET_COUNT; ++i) {
    const auto set = static_cast<PolicySet>(i);
    if (set == PolicySet::GRACE_IPS || set == PolicySet::GRACE_MACS) continue;
    effects.changes.push_back({set, ElementChange::FLUSH});
  }
  for (const PolicySet set : {PolicySet::SEEN_IPS, PolicySet::SEEN_MACS, PolicySet::SEEN_IP6}) {
    sweep_later(table, around.now(), {}, {set, ElementChange::FLUSH});
  }
}

}  // namespace

void handle_message(SessionTable& table, const KernelMessage& message, const Surroundings& around,
                    Effects& effects) {
  switch (message.command) {
    case ADD_ENTRY:
      return add_entry(table, message, around, effects);
    case REMOVE_ENTRY:
      return remove_entry(table, message, around, effects);
    case DAEMON_START:
      return forget_everybody(table, around, effects);
    case SET_TIMEOUTS:
      table.timeouts = Timeouts{.idle = message.ip, .maximum = message.kind};
      return;
    case REMOVE_MAC:
      return remove_mac(table, message.mac, around, effects);
    default:
      return;
  }
}

void add_garden_address(SessionTable& table, std::uint32_t ip, Effects& effects) {
  if (!table.garden.insert(ip).second) return;
  effects.changes.push_back({PolicySet::GARDEN, ElementChange::ADD, key_of(ip)});
}

void learn_address(SessionTable& table, std::uint32_t ip, Millis lifetime,
                   const Surroundings& around, Effects& effects) {
  const Millis now = around.now();
  if (table.learned.size() >= MOST_LEARNED) {
    std::erase_if(table.learned, [&](const auto& learned) { return learned.second <= now; });
  }
  if (table.learned.size() >= MOST_LEARNED && !table.learned.contains(ip)) return;
  table.learned[ip] = now + lifetime;
  effects.changes.push_back(
      {PolicySet::GARDEN_LEARNED, ElementChange::RENEW, key_of(ip), lifetime});
}

void note_told(SessionTable& table, std::uint32_t ip, Effects& effects) {
  if (table.ended.erase(ip) == 1) effects.changes.push_back(removal(PolicySet::ENDED, key_of(ip)));
}

void bind_user(SessionTable& table, const FirstPacket& packet, const Surroundings& around,
               Effects& effects) {
  const auto found = table.users.find(packet.ip);
  if (found == table.users.end() || found->second.mac || packet.mac == MacAddress{}) return;
  unbind(table, packet.ip, found->second, around, effects);
  bind(table, packet.ip, found->second, packet.mac, around, effects);
}

void begin_visit(SessionTable& table, EntryKind kind, const FirstPacket& packet,
                 const Surroundings& around, Effects& effects) {
  const VisitorKey key{packet.ip, kind == ENTRY_MAC ? packet.mac : MacAddress{}};
  const bool is_listed =
      kind == ENTRY_MAC ? table.macs.contains(key.mac) : table.ips.contains(key.ip);
  if (!is_listed) return forget_visit(key, effects);  // the packet was on its way when that ended
  if (table.visitors.contains(key)) return;
  Visitor& visitor = table.visitors[key];
  visitor.active = around.now();
  schedule(table, key, visitor);
  effects.changes.push_back({PolicySet::REPORTED, ElementChange::ADD, key_of(key.mac, key.ip)});
  effects.events.push_back({ENTRY_ONLINE, packet.ip, kind, packet.mac});
}

void note_ip6(SessionTable& table, const FirstPacket& packet, Effects& effects) {
  if (!may_pass(table, packet.mac)) return remove_ip6(packet.mac, packet.ip6, effects);
  std::vector<Ip6Address>& known = table.ip6[packet.mac];
  if (std::find(known.begin(), known.end(), packet.ip6) != known.end()) return;
  if (known.size() >= MOST_IP6) {  // the oldest makes room
    remove_ip6(packet.mac, known.front(), effects);
    known.erase(known.begin());
  }
  known.push_back(packet.ip6);
}

}  // namespace webauth
