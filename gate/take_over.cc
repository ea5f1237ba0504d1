// What a gate finds in the kernel that another one has left there.
#include <algorithm>
#include <cstring>
#include <map>
#include <optional>
#include <stdexcept>
#include <utility>

#include "gate/activity.h"
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

// Whom the kernel has let go meanwhile, since the user's time was over, is still bound or unbound:
// their time is over now, and the daemon is to hear of it.
void adopt_users(Enforcer& gate) {
  std::map<std::uint32_t, std::optional<MacAddress>> bindings;
  for_each_element(gate, PolicySet::UNBOUND,
                   [&](const Element& element) { bindings[ip_of(element.key)] = {}; });
  for_each_element(gate, PolicySet::BOUND, [&](const Element& element) {
    bindings[ip_of(element.key)] = mac_of(element.key, BEHIND_IP);
  });
  for_each_element(gate, PolicySet::USERS, [&](const Element& element) {
    const std::uint32_t ip = ip_of(element.key);
    const auto binding = bindings.find(ip);
    adopt_user(gate.table, ip, element.data,
               binding == bindings.end() ? std::nullopt : binding->second);
    if (binding != bindings.end()) bindings.erase(binding);
  });
  for (const auto& [ip, mac] : bindings) {
    adopt_user(gate.table, ip, {.deadline = gate.around.now()}, mac);
  }
}

void adopt_lists(Enforcer& gate) {
  SessionTable& table = gate.table;
  for_each_element(gate, PolicySet::MACS,
                   [&](const Element& element) { table.macs.insert(mac_of(element.key)); });
  for_each_element(gate, PolicySet::IPS,
                   [&](const Element& element) { table.ips.insert(ip_of(element.key)); });
  for_each_element(gate, PolicySet::GARDEN,
                   [&](const Element& element) { table.garden.insert(ip_of(element.key)); });
  for_each_element(gate, PolicySet::GARDEN_LEARNED, [&](const Element& element) {
    table.learned[ip_of(element.key)] = gate.around.now() + element.left;
  });
  for_each_element(gate, PolicySet::REPORTED, [&](const Element& element) {
    adopt_visitor(table, {ip_of(element.key, BEHIND_MAC), mac_of(element.key)});
  });
}

// What happened while there was no gate.
void catch_up(Enforcer& gate) {
  Effects effects;
  for_each_element(gate, PolicySet::ENDED, [&](const Element& element) {
    adopt_ended(gate.table, ip_of(element.key), effects);
  });
  while (expire(gate.table, gate.around, effects)) {
  }
  carry_out(gate, std::move(effects));
}

}  // namespace

void take_over(Enforcer& gate) {
  gate.daemon.port = read_state(gate.options.state_folder, gate.table);
  adopt_users(gate);
  adopt_lists(gate);
  gate.options.rules.watch_names = !gate.table.names.empty();
  put_rules(gate, gate.options.rules);
  catch_up(gate);
  verify(gate);
  reconcile(gate);
}

void reconcile(Enforcer& gate) {
  gate.reconcile_at = 0;
  gate.lost = count_lost(gate.activity);
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
  carry_out(gate, std::move(effects));
}

}  // namespace webauth
