#include "gate/session_change.h"

#include <algorithm>
#include <limits>

namespace webauth {
namespace {

constexpr Millis SWEEP_AFTER = 200;
// How much longer than the gate the kernel lets a user pass: for a gate that is dead.
constexpr Millis KERNEL_GRACE = 6'000;
// A connection that pauses for the grace goes on within as long again.
constexpr Millis RESUME_WITHIN = 2 * GRACE;

// The time-out of an element that is to outlive its deadline by a little; 0 for never.
Millis kernel_timeout(Millis deadline, Millis now) {
  return deadline == 0 ? 0 : std::max<Millis>(deadline - now + KERNEL_GRACE, 1);
}

void move_timer(SessionTable& table, Timer timer, Millis at) {
  table.timers.erase(timer);
  timer.at = at;
  if (at != NEVER) table.timers.insert(timer);
}

void release_mac(SessionTable& table, const MacAddress& mac, const Surroundings& around,
                 Effects& effects) {
  const auto count = table.user_macs.find(mac);
  if (count == table.user_macs.end() || --count->second.users > 0) return;
  table.user_macs.erase(count);
  effects.changes.push_back({PolicySet::USER_MACS, ElementChange::REMOVE, key_of(mac)});
  effects.changes.push_back({PolicySet::SEEN_MACS_IP6, ElementChange::REMOVE, key_of(mac)});
  forget_ip6(table, mac, around, effects);
}

}  // namespace

void put_user(std::uint32_t ip, const User& user, ElementChange how, const Surroundings& around,
              Effects& effects) {
  effects.changes.push_back({.set = PolicySet::USERS,
                             .change = how,
                             .key = key_of(ip),
                             .timeout = kernel_timeout(user.deadline, around.now()),
                             .data = {.since = user.since,
                                      .deadline = user.deadline,
                                      .idle = user.idle,
                                      .recheck = user.recheck}});
}

void put_user_mac(const MacAddress& mac, const UserMac& use, ElementChange how,
                  const Surroundings& around, Effects& effects) {
  effects.changes.push_back(
      {PolicySet::USER_MACS, how, key_of(mac), kernel_timeout(use.deadline, around.now())});
}

void bind(SessionTable& table, std::uint32_t ip, User& user, const MacAddress& mac,
          const Surroundings& around, Effects& effects) {
  user.mac = mac;
  effects.changes.push_back({PolicySet::BOUND, ElementChange::ADD, key_of(ip, mac)});
  const auto [entry, is_first] = table.user_macs.try_emplace(mac);
  if (count_user(entry->second, user.deadline) || is_first) {
    const ElementChange how = is_first ? ElementChange::ADD : ElementChange::RENEW;
    put_user_mac(mac, entry->second, how, around, effects);
  }
  resume_ip6(table, mac, around.now(), effects);
}

bool count_user(UserMac& use, Millis deadline) {
  ++use.users;
  return extend_user(use, deadline);
}

bool extend_user(UserMac& use, Millis deadline) {
  const Millis before = use.deadline;
  const bool is_alone = use.users == 1;
  const bool never = deadline == 0 || (!is_alone && before == 0);
  use.deadline = never ? 0 : is_alone ? deadline : std::max(before, deadline);
  return use.deadline != before;
}

void unbind(SessionTable& table, std::uint32_t ip, User& user, const Surroundings& around,
            Effects& effects) {
  if (user.mac) {
    effects.changes.push_back({PolicySet::BOUND, ElementChange::REMOVE, key_of(ip, *user.mac)});
    release_mac(table, *user.mac, around, effects);
    user.mac.reset();
  } else {
    effects.changes.push_back({PolicySet::UNBOUND, ElementChange::REMOVE, key_of(ip)});
  }
}

void end_user(SessionTable& table, std::uint32_t ip, const Surroundings& around, Effects& effects) {
  const auto user = table.users.find(ip);
  effects.changes.push_back({PolicySet::USERS, ElementChange::REMOVE, key_of(ip)});
  unbind(table, ip, user->second, around, effects);
  effects.changes.push_back({PolicySet::SEEN_USERS, ElementChange::REMOVE, key_of(ip)});
  effects.cut.push_back(ip);
  table.timers.erase({user->second.timer, true, {ip, {}}});
  table.users.erase(user);
}

void report_end(SessionTable& table, std::uint32_t ip, Effects& effects) {
  table.ended.insert(ip);
  effects.changes.push_back({PolicySet::ENDED, ElementChange::ADD, key_of(ip)});
  effects.events.push_back({ENTRY_OFFLINE, ip});
}

void forget_visit(const VisitorKey& key, Effects& effects) {
  const auto& [ip, mac] = key;
  effects.changes.push_back({PolicySet::REPORTED, ElementChange::REMOVE, key_of(mac, ip)});
  if (mac == MacAddress{}) {
    effects.changes.push_back({PolicySet::SEEN_IPS, ElementChange::REMOVE, key_of(ip)});
  } else {
    effects.changes.push_back({PolicySet::MAC_IPS, ElementChange::REMOVE, key_of(ip)});
    effects.changes.push_back({PolicySet::SEEN_MACS, ElementChange::REMOVE, key_of(mac, ip)});
  }
}

VisitorPosition end_visit(SessionTable& table, VisitorPosition visitor, Effects& effects) {
  forget_visit(visitor->first, effects);
  table.timers.erase({visitor->second.timer, false, visitor->first});
  return table.visitors.erase(visitor);
}

void forget_ip6(SessionTable& table, const MacAddress& mac, const Surroundings& around,
                Effects& effects) {
  const auto known = table.ip6.find(mac);
  if (known == table.ip6.end() || may_pass(table, mac)) return;
  for (const Ip6Address& ip6 : known->second) {
    remove_ip6(mac, ip6, effects);
    sweep_later(table, around.now(), mac, {PolicySet::IP6, ElementChange::REMOVE, key_of(ip6)});
  }
  table.ip6.erase(known);
}

void remove_ip6(const MacAddress& mac, const Ip6Address& ip6, Effects& effects) {
  effects.changes.push_back({PolicySet::IP6, ElementChange::REMOVE, key_of(ip6)});
  effects.changes.push_back({PolicySet::SEEN_IP6, ElementChange::REMOVE, key_of(mac, ip6)});
}

void remember_addresses(SessionTable& table, Millis now) {
  if (now >= table.former_until) table.former.clear();
  table.former_until = now + GRACE;
  for (const auto& [key, visitor] : table.visitors) {
    if (key.mac != MacAddress{}) table.former[key.mac].ips.push_back(key.ip);
  }
  for (const auto& [mac, addresses] : table.ip6) table.former[mac].ip6 = addresses;
}

void resume_ip6(SessionTable& table, const MacAddress& mac, Millis now, Effects& effects) {
  const auto former = table.former.find(mac);
  if (former == table.former.end() || now >= table.former_until) return;
  for (const Ip6Address& ip6 : former->second.ip6) {
    effects.changes.push_back({PolicySet::IP6, ElementChange::RENEW, key_of(ip6), RESUME_WITHIN});
  }
}

void resume_ips(SessionTable& table, const MacAddress& mac, Millis now, Effects& effects) {
  const auto former = table.former.find(mac);
  if (former == table.former.end() || now >= table.former_until) return;
  for (const std::uint32_t ip : former->second.ips) {
    effects.changes.push_back(
        {PolicySet::MAC_IPS, ElementChange::RENEW, key_of(ip), RESUME_WITHIN});
  }
}

void sweep_later(SessionTable& table, Millis now, const MacAddress& mac, const SetChange& change) {
  table.sweeps.push_back({now + SWEEP_AFTER, mac, change});
}

bool may_pass(const SessionTable& table, const MacAddress& mac) {
  return table.user_macs.contains(mac) || table.macs.contains(mac);
}

Millis idle_millis(std::uint32_t seconds) {
  return std::min(Millis{seconds} * 1'000, SEEN_MILLISECONDS);
}

void schedule(SessionTable& table, std::uint32_t ip, User& user) {
  Millis next = NEVER;
  if (user.deadline != 0) next = user.deadline;
  if (user.idle != 0) next = std::min(next, user.active + idle_millis(user.idle));
  if (user.recheck != 0) next = std::min(next, user.next_check);
  move_timer(table, {user.timer, true, {ip, {}}}, next);
  user.timer = next;
}

void schedule(SessionTable& table, const VisitorKey& key, Visitor& visitor) {
  const std::uint32_t idle = table.timeouts ? table.timeouts->idle : 0;
  const Millis next = idle != 0 ? visitor.active + idle_millis(idle) : NEVER;
  move_timer(table, {visitor.timer, false, key}, next);
  visitor.timer = next;
}

}  // namespace webauth
