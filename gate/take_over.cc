// What a gate finds in the kernel that another one has left there.
#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "gate/enforcer_state.h"
#include "gate/policy_store.h"
#include "gate/state_file.h"
#include "gate/table_watch.h"

namespace webauth {
namespace {

// The part of a key that begins at byte `at`.
template <typename Part>
Part part_of(const ElementKey& key, std::size_t at) {
  Part part{};
  std::memcpy(&part, key.bytes.data() + at, sizeof part);
  return part;
}

std::uint32_t ip_of(const ElementKey& key, std::size_t at = 0) {
  return part_of<std::uint32_t>(key, at);
}

MacAddress mac_of(const ElementKey& key, std::size_t at = 0) {
  return part_of<MacAddress>(key, at);
}

constexpr std::size_t BEHIND_IP = 4;
constexpr std::size_t BEHIND_MAC = 8;

template <typename Take>
void for_each_element(Enforcer& gate, PolicySet set, Take take) {
  (void)dump_elements(gate.policy, set, take);  // what cannot be had is missed by verify
}

void adopt_users(Enforcer& gate) {
  std::map<std::uint32_t, MacAddress> bound;
  for_each_element(gate, PolicySet::BOUND, [&](const Element& element) {
    bound[ip_of(element.key)] = mac_of(element.key, BEHIND_IP);
  });
  for_each_element(gate, PolicySet::USERS, [&](const Element& element) {
    const std::uint32_t ip = ip_of(element.key);
    const auto mac = bound.find(ip);
    adopt_user(gate.table, ip, element.data,
               mac == bound.end() ? std::nullopt : std::optional(mac->second));
  });
}

void adopt_lists(Enforcer& gate) {
  SessionTable& table = gate.table;
  for_each_element(gate, PolicySet::MACS,
                   [&](const Element& element) { table.macs.insert(mac_of(element.key)); });
  for_each_element(gate, PolicySet::IPS,
                   [&](const Element& element) { table.ips.insert(ip_of(element.key)); });
  for_each_element(gate, PolicySet::GARDEN,
                   [&](const Element& element) { table.garden.insert(ip_of(element.key)); });
  for_each_element(gate, PolicySet::REPORTED, [&](const Element& element) {
    adopt_visitor(table, {ip_of(element.key, BEHIND_MAC), mac_of(element.key)});
  });
}

}  // namespace

void take_over(Enforcer& gate) {
  gate.daemon.port = read_state(gate.options.state_folder, gate.table);
  adopt_users(gate);
  adopt_lists(gate);
  gate.options.rules.watch_names = !gate.table.names.empty();
  load_ruleset(gate.options.rules);
  gate.stamp = table_stamp(gate.policy).value_or(0);
  verify(gate);
  reconcile(gate);
}

void reconcile(Enforcer& gate) {
  Effects effects;
  for_each_element(gate, PolicySet::SEEN_IPS, [&](const Element& element) {
    begin_visit(gate.table, ENTRY_IP, {.ip = ip_of(element.key)}, gate.around, effects);
  });
  for_each_element(gate, PolicySet::SEEN_MACS, [&](const Element& element) {
    begin_visit(gate.table, ENTRY_MAC,
                {.ip = ip_of(element.key, BEHIND_MAC), .mac = mac_of(element.key)}, gate.around,
                effects);
  });
  for_each_element(gate, PolicySet::SEEN_IP6, [&](const Element& element) {
    note_ip6(gate.table,
             {.ip6 = part_of<Ip6Address>(element.key, BEHIND_MAC), .mac = mac_of(element.key)},
             effects);
  });
  for (const auto& [ip, user] : gate.table.users) {  // the rules are to tell of them again
    if (user.mac) continue;
    effects.changes.push_back({PolicySet::SEEN_USERS, ElementChange::REMOVE, key_of(ip)});
  }
  carry_out(gate, std::move(effects));
}

}  // namespace webauth
