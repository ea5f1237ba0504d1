// How the table of the gate gets into the kernel, and what is done when the kernel does not take
// it.
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <optional>
#include <stdexcept>
#include <utility>

#include "common/address_text.h"
#include "gate/enforcer_state.h"
#include "gate/policy_store.h"
#include "gate/session_change.h"
#include "gate/table_watch.h"

namespace webauth {
namespace {

constexpr Millis RETRY_AFTER = 200;
constexpr Millis VERIFY_AFTER = 300;  // at least this long between two

bool is_full(int error) { return error == ENFILE || error == ENOSPC; }

// The changes are in the kernel: now the daemon may hear of them.
void release(Enforcer& gate, Effects& effects) {
  for (const std::uint32_t ip : effects.admitted) {
    forget_connections(gate.conntrack, ip, Forget::REDIRECTED);
  }
  for (const std::uint32_t ip : effects.cut) forget_connections(gate.conntrack, ip, Forget::ALL);
  begin_to_forget(gate.conntrack);
  if (gate.options.verbose) {
    for (const GateEvent& event : effects.events) print_lines(gate.output, event_text(event));
  }
  std::erase_if(gate.daemon.queue, [&](const GateEvent& event) {  // of a session before this one
    return std::find(effects.admitted.begin(), effects.admitted.end(), event.ip) !=
           effects.admitted.end();
  });
  gate.daemon.queue.insert(gate.daemon.queue.end(), effects.events.begin(), effects.events.end());
}

// A set has no room. A client that is not let in for it is none of the daemon's users any more;
// what was to be taken out is not in.
void give_up(Enforcer& gate, const SetChange& change, Effects& rest) {
  if (change.change == ElementChange::REMOVE || change.set == PolicySet::GARDEN_LEARNED) return;
  say(gate, std::string("set ") + shape_of(change.set).name + " is full");
  std::uint32_t ip = 0;
  std::memcpy(&ip, change.key.bytes.data(), sizeof ip);
  if (change.set != PolicySet::USERS || !gate.table.users.contains(ip)) return;
  end_user(gate.table, ip, gate.around, rest);
  rest.events.push_back({ENTRY_OFFLINE, ip});
}

// One by one, since one of them does not fit.
int apply_singly(Enforcer& gate, SetChanges& changes, Effects& rest) {
  while (!changes.empty()) {
    std::size_t done = 0;
    const int error = apply_changes(gate.policy, {changes.data(), 1}, done);
    if (error != 0 && !is_full(error)) return error;
    if (error != 0) give_up(gate, changes.front(), rest);
    changes.erase(changes.begin());
  }
  return 0;
}

// Applies as many of the changes as the kernel takes, and takes them out.
int apply_effects(Enforcer& gate, Effects& effects, Effects& rest) {
  std::size_t done = 0;
  const int error = apply_changes(gate.policy, effects.changes, done);
  effects.changes.erase(effects.changes.begin(),
                        effects.changes.begin() + static_cast<std::ptrdiff_t>(done));
  return is_full(error) ? apply_singly(gate, effects.changes, rest) : error;
}

void note_trouble(Enforcer& gate, const char* what) {
  if (gate.retry_at == 0) say(gate, std::string("not in force yet, tried again: ") + what);
  gate.retry_at = gate.around.now() + RETRY_AFTER;
}

void note_end_of_trouble(Enforcer& gate) {
  if (gate.retry_at != 0) say(gate, "in force again");
  gate.retry_at = 0;
}

using SetSize = std::pair<PolicySet, std::size_t>;

std::array<SetSize, 8> expected_sizes(const SessionTable& table) {
  const auto bound = std::count_if(table.users.begin(), table.users.end(),
                                   [](const auto& user) { return user.second.mac.has_value(); });
  const auto bound_count = static_cast<std::size_t>(bound);
  return {SetSize{PolicySet::USERS, table.users.size()},
          {PolicySet::BOUND, bound_count},
          {PolicySet::UNBOUND, table.users.size() - bound_count},
          {PolicySet::USER_MACS, table.user_macs.size()},
          {PolicySet::MACS, table.macs.size()},
          {PolicySet::IPS, table.ips.size()},
          {PolicySet::GARDEN, table.garden.size()},
          {PolicySet::REPORTED, table.visitors.size()}};
}

// Nothing when the answers are not good enough to tell.
std::optional<bool> is_whole(Enforcer& gate) {
  std::uint64_t stamp = 0;
  const int stamp_error = table_stamp(gate.policy, stamp);
  if (stamp_error != 0 && stamp_error != ENOENT) return {};
  if (stamp != gate.stamp) return false;
  for (const auto& [set, size] : expected_sizes(gate.table)) {
    std::size_t found = 0;
    const int error = dump_elements(gate.policy, set, [&](const Element&) { ++found; });
    if (error != 0 && error != ENOENT && found != size) return {};
    if (found != size) return false;
  }
  return true;
}

}  // namespace

void say(Enforcer& gate, const std::string& line) {
  print_lines(gate.output, "webauth-gate: " + line);
}

void carry_out(Enforcer& gate, Effects effects) {
  if (effects.new_daemon) {  // what went before is over for everybody
    gate.pending.clear();
    gate.daemon.queue.clear();
  }
  if (!effects.new_daemon && effects.changes.empty() && effects.events.empty()) return;
  gate.pending.push_back(std::move(effects));
  if (gate.retry_at == 0) carry_out_pending(gate);
}

void carry_out_pending(Enforcer& gate) {
  while (!gate.pending.empty()) {
    Effects rest;
    const int error = apply_effects(gate, gate.pending.front(), rest);
    if (!rest.changes.empty()) gate.pending.insert(gate.pending.begin() + 1, std::move(rest));
    // With the table that somebody has made in its place nothing else will help.
    if (error == ENOENT || (error != 0 && gate.verify_at != 0)) return rebuild(gate);
    if (error != 0) return note_trouble(gate, std::strerror(error));
    release(gate, gate.pending.front());
    gate.pending.pop_front();
  }
  note_end_of_trouble(gate);
}

void put_rules(Enforcer& gate, const RulesetOptions& options, bool anew) {
  if (count_changers(gate.watch) > 0 && !anew) verify_soon(gate);
  load_ruleset(options, anew);
  const int error = table_stamp(gate.policy, gate.stamp);
  if (error == 0 && count_changers(gate.watch) == 1) return;  // that was the load
  gate.stamp = 0;  // it may be of what somebody else has made since
  verify_soon(gate);
}

void rebuild(Enforcer& gate) {
  RulesetOptions rules = gate.options.rules;
  try {
    rules.refuse = false;
    put_rules(gate, rules, true);
    int error = 0;
    restore_elements(gate.table, gate.around, [&](const SetChanges& changes) {
      std::size_t done = 0;
      if (error == 0) error = apply_changes(gate.policy, changes, done);
    });
    if (error != 0) return note_trouble(gate, std::strerror(error));
    rules.refuse = true;
    put_rules(gate, rules);
  } catch (const std::runtime_error& error) {
    return note_trouble(gate, error.what());
  }
  for (Effects& effects : gate.pending) release(gate, effects);  // all that they wanted is in now
  gate.pending.clear();
  note_end_of_trouble(gate);
}

void verify_soon(Enforcer& gate) {
  gate.verify_at = std::max(gate.around.now(), gate.verified_at + VERIFY_AFTER);
}

void verify(Enforcer& gate) {
  gate.verify_at = 0;
  gate.verified_at = gate.around.now();
  const std::optional<bool> whole = is_whole(gate);
  if (whole == true) return;
  if (!whole) return verify_soon(gate);
  say(gate, "table inet webauth was changed by somebody else; restored");
  rebuild(gate);
}

}  // namespace webauth
