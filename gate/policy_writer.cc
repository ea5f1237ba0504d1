// How the table of the gate gets into the kernel, and what is done when the kernel does not take
// it.
#include <algorithm>
#include <cerrno>
#include <cstring>
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

bool is_full(int error) { return error == ENFILE || error == ENOSPC; }

// The changes are in the kernel: now the daemon may hear of them.
void release(Enforcer& gate, Effects& effects) {
  for (const std::uint32_t ip : effects.admitted) {
    forget_connections(gate.conntrack, ip, Forget::REDIRECTED);
  }
  for (const std::uint32_t ip : effects.cut) forget_connections(gate.conntrack, ip, Forget::ALL);
  begin_to_forget(gate.conntrack);
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
    if (error == ENOENT) return rebuild(gate);
    if (error != 0) return note_trouble(gate, std::strerror(error));
    release(gate, gate.pending.front());
    gate.pending.pop_front();
    if (!rest.changes.empty()) gate.pending.push_front(std::move(rest));
  }
  note_end_of_trouble(gate);
}

void rebuild(Enforcer& gate) {
  RulesetOptions rules = gate.options.rules;
  try {
    rules.refuse = false;
    load_ruleset(rules, true);
    Effects all;
    restore_elements(gate.table, gate.around, all);
    std::size_t done = 0;
    if (const int error = apply_changes(gate.policy, all.changes, done)) {
      return note_trouble(gate, std::strerror(error));
    }
    rules.refuse = true;
    load_ruleset(rules);
  } catch (const std::runtime_error& error) {
    return note_trouble(gate, error.what());
  }
  gate.stamp = table_stamp(gate.policy).value_or(0);
  for (Effects& effects : gate.pending) release(gate, effects);  // all that they wanted is in now
  gate.pending.clear();
  note_end_of_trouble(gate);
}

void verify(Enforcer& gate) {
  gate.verify_at = 0;
  gate.verified_at = gate.around.now();
  const SessionTable& table = gate.table;
  const auto bound = std::count_if(table.users.begin(), table.users.end(),
                                   [](const auto& user) { return user.second.mac.has_value(); });
  const std::pair<PolicySet, std::size_t> sizes[] = {
      {PolicySet::USERS, table.users.size()},
      {PolicySet::BOUND, static_cast<std::size_t>(bound)},
      {PolicySet::UNBOUND, table.users.size() - static_cast<std::size_t>(bound)},
      {PolicySet::USER_MACS, table.user_macs.size()},
      {PolicySet::MACS, table.macs.size()},
      {PolicySet::IPS, table.ips.size()},
      {PolicySet::GARDEN, table.garden.size()},
      {PolicySet::REPORTED, table.visitors.size()}};
  bool is_whole = table_stamp(gate.policy) == gate.stamp;
  for (const auto& [set, size] : sizes) {
    std::size_t found = 0;
    if (!is_whole) break;
    is_whole =
        dump_elements(gate.policy, set, [&](const Element&) { ++found; }) == 0 && found == size;
  }
  if (is_whole) return;
  say(gate, "table inet webauth was changed by somebody else; restored");
  rebuild(gate);
}

}  // namespace webauth
