// The session table's timers, and what an earlier gate or somebody else left of the sets.
#include <algorithm>

#include "gate/session_change.h"
#include "gate/session_table.h"

namespace webauth {
namespace {

// How many are judged at a time, so that an admission meanwhile does not wait for all of them.
constexpr int MOST_JUDGED = 256;

constexpr std::size_t RESTORED_AT_A_TIME = 4'096;

constexpr Millis LONG_AGO = std::numeric_limits<Millis>::min() / 2;

void note_activity(Millis& active, const Surroundings& around, PolicySet set,
                   const ElementKey& key) {
  active = std::max(active, around.last_packet(set, key).value_or(active));
}

bool is_idle(std::uint32_t idle, Millis active, Millis now) {
  return idle != 0 && now >= active + idle_millis(idle);
}

bool has_ended(std::uint32_t ip, User& user, const Surroundings& around) {
  const Millis now = around.now();
  if (user.deadline != 0 && now >= user.deadline) return true;
  if (!is_idle(user.idle, user.active, now)) return false;
  note_activity(user.active, around, PolicySet::SEEN_USERS, key_of(ip));
  if (user.mac) note_activity(user.active, around, PolicySet::SEEN_MACS_IP6, key_of(*user.mac));
  return is_idle(user.idle, user.active, now);
}

void judge_user(SessionTable& table, const Timer& timer, const Surroundings& around,
                Effects& effects) {
  const std::uint32_t ip = timer.key.ip;
  const auto user = table.users.find(ip);
  if (has_ended(ip, user->second, around)) {
    end_user(table, ip, around, effects);
    return report_end(table, ip, effects);
  }
  if (user->second.recheck != 0 && around.now() >= user->second.next_check) {
    effects.events.push_back({CHECK_EXPIRY, ip});
    user->second.next_check = around.now() + Millis{user->second.recheck} * 1'000;
  }
  schedule(table, ip, user->second);
}

void judge_visitor(SessionTable& table, const Timer& timer, const Surroundings& around,
                   Effects& effects) {
  const auto visitor = table.visitors.find(timer.key);
  const auto& [ip, mac] = timer.key;
  Millis& active = visitor->second.active;
  if (mac == MacAddress{}) {
    note_activity(active, around, PolicySet::SEEN_IPS, key_of(ip));
  } else {
    note_activity(active, around, PolicySet::SEEN_MACS, key_of(mac, ip));
    note_activity(active, around, PolicySet::SEEN_MACS_IP6, key_of(mac));
  }
  if (is_idle(table.timeouts->idle, active, around.now())) {
    end_visit(table, visitor, effects);
    report_end(table, ip, effects);
  } else {
    schedule(table, timer.key, visitor->second);
  }
}

void sweep(SessionTable& table, Millis now, Effects& effects) {
  const auto due = std::find_if(table.sweeps.begin(), table.sweeps.end(),
                                [&](const Sweep& sweep) { return sweep.at > now; });
  for (auto at = table.sweeps.begin(); at != due; ++at) {
    if (!may_pass(table, at->mac)) effects.changes.push_back(at->change);
  }
  table.sweeps.erase(table.sweeps.begin(), due);
}

}  // namespace

bool expire(SessionTable& table, const Surroundings& around, Effects& effects) {
  sweep(table, around.now(), effects);
  for (int judged = 0; judged < MOST_JUDGED; ++judged) {
    if (table.timers.empty() || table.timers.begin()->at > around.now()) return false;
    const Timer timer = *table.timers.begin();
    if (timer.is_user) {
      judge_user(table, timer, around, effects);
    } else {
      judge_visitor(table, timer, around, effects);
    }
  }
  return true;
}

std::optional<Millis> next_deadline(const SessionTable& table) {
  std::optional<Millis> next;
  if (!table.timers.empty()) next = table.timers.begin()->at;
  if (!table.sweeps.empty()) next = std::min(next.value_or(table.sweeps[0].at), table.sweeps[0].at);
  return next;
}

void adopt_user(SessionTable& table, std::uint32_t ip, const UserData& data,
                std::optional<MacAddress> mac) {
  User user{.recheck = data.recheck,
            .idle = data.idle,
            .since = data.since,
            .deadline = data.deadline,
            .next_check = data.since + Millis{data.recheck} * 1'000,
            .active = data.since,
            .mac = mac};
  if (table.users.contains(ip)) return;  // a set that grows may show an element twice
  if (mac) count_user(table.user_macs[*mac], user.deadline);
  schedule(table, ip, table.users[ip] = user);
}

void adopt_visitor(SessionTable& table, const VisitorKey& key) {
  Visitor& visitor = table.visitors[key];
  visitor.active = LONG_AGO;  // the data path knows better
  schedule(table, key, visitor);
}

void adopt_ended(SessionTable& table, std::uint32_t ip, Effects& effects) {
  if (table.ended.insert(ip).second) effects.events.push_back({ENTRY_OFFLINE, ip});
}

void restore_elements(SessionTable& table, const Surroundings& around,
                      const std::function<void(const SetChanges&)>& put) {
  const Millis now = around.now();
  Effects effects;
  const auto put_some = [&](std::size_t at_least) {
    if (effects.changes.size() < at_least) return;
    put(effects.changes);
    effects.changes.clear();
  };
  const auto add = [&](PolicySet set, const ElementKey& key, Millis timeout = 0) {
    effects.changes.push_back({set, ElementChange::ADD, key, timeout});
    put_some(RESTORED_AT_A_TIME);
  };
  for (auto& [ip, user] : table.users) {
    user.active = now;
    put_user(ip, user, ElementChange::ADD, around, effects);
    if (user.mac) {
      add(PolicySet::BOUND, key_of(ip, *user.mac));
    } else {
      add(PolicySet::UNBOUND, key_of(ip));
    }
  }
  for (const auto& [mac, use] : table.user_macs) {
    put_user_mac(mac, use, ElementChange::ADD, around, effects);
  }
  for (auto& [key, visitor] : table.visitors) {
    visitor.active = now;
    add(PolicySet::REPORTED, key_of(key.mac, key.ip));
    if (key.mac != MacAddress{}) add(PolicySet::MAC_IPS, key_of(key.ip));
  }
  for (const auto& [mac, addresses] : table.ip6) {
    for (const Ip6Address& ip6 : addresses) {
      add(PolicySet::SEEN_IP6, key_of(mac, ip6));
      add(PolicySet::IP6, key_of(ip6));
    }
  }
  for (const MacAddress& mac : table.macs) add(PolicySet::MACS, key_of(mac));
  for (const std::uint32_t ip : table.ips) add(PolicySet::IPS, key_of(ip));
  for (const std::uint32_t ip : table.garden) add(PolicySet::GARDEN, key_of(ip));
  for (const std::uint32_t ip : table.ended) add(PolicySet::ENDED, key_of(ip));
  for (const auto& [ip, until] : table.learned) {
    if (until > now) add(PolicySet::GARDEN_LEARNED, key_of(ip), until - now);
  }
  put_some(1);
}

}  // namespace webauth
