// Datagrams of a daemon's side, one behind the other, each behind two bytes with its size and one
// with the seconds that pass before. In the end the sets hold what the gate would put into empty
// ones.
#include <cstdlib>

#include "gate/garden_reader.h"
#include "gate/message_text.h"
#include "gate/session_table.h"

using namespace webauth;

using Elements = std::set<std::pair<PolicySet, std::string>>;

static void keep(const SetChanges& changes, Elements& elements) {
  for (const SetChange& change : changes) {
    if (change.set > PolicySet::ENDED || change.set == PolicySet::GRACE_IPS) continue;
    if (change.set == PolicySet::GRACE_MACS || change.set == PolicySet::GARDEN_LEARNED) continue;
    const std::pair element(change.set,
                            std::string(change.key.bytes.begin(), change.key.bytes.end()));
    if (change.change == ElementChange::FLUSH) {
      std::erase_if(elements, [&](const auto& other) { return other.first == change.set; });
    } else if (change.change == ElementChange::REMOVE) {
      elements.erase(element);
    } else {
      elements.insert(element);
    }
  }
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  SessionTable table;
  Millis now = 1'000;
  const auto find_mac = [](std::uint32_t ip) {
    return ip % 2 == 0 ? std::optional(MacAddress{2, static_cast<unsigned char>(ip >> 25)})
                       : std::nullopt;
  };
  const auto silent = [](auto, const auto&) { return std::nullopt; };
  const Surroundings around = {
      .now = [&] { return now; }, .find_mac = find_mac, .last_packet = silent};
  Effects effects;
  for (std::string_view bytes(reinterpret_cast<const char*>(data), size); bytes.size() > 3;) {
    Datagram datagram{.bytes = bytes.substr(3, data[0] * 256U + data[1]), .from_us = true};
    now += bytes[2] * 1'000;
    datagram.size = datagram.bytes.size();
    bytes.remove_prefix(3 + datagram.size);
    data += 3 + datagram.size;
    if (datagram_text(datagram, 7).find('\n') != std::string::npos) std::abort();
    const auto garden = read_garden_message(datagram);
    if (garden && garden->address) add_garden_address(table, *garden->address, effects);
    if (const auto message = known_message(datagram))
      handle_message(table, *message, around, effects);
    while (expire(table, around, effects)) {
    }
  }
  Elements elements, anew;
  keep(effects.changes, elements);
  restore_elements(table, around, [&](const SetChanges& changes) { keep(changes, anew); });
  if (elements != anew) std::abort();
  return 0;
}
