// Plays tests/sessions.txt: the gate's table without a kernel. A step is "> SECONDS VERB ...", or
// several with "; " between them, of one pass; then stands what has changed in the sets, the events
// for the daemon, and whose connections are to be forgotten, a line each. What the data path does
// is a step too. With WRITE_SCENARIOS in the environment the file is written anew; read the
// difference.
#include <arpa/inet.h>

#include <algorithm>
#include <cstdlib>
#include <sstream>
#include <stdexcept>

#include "common/address_input.h"
#include "gate/session_table.h"
#include "tests/support/world_test.h"

namespace webauth {
namespace {

struct Gate {
  SessionTable table;
  Millis now = 0;
  std::map<std::uint32_t, MacAddress> neighbours;
  std::map<std::string, Millis> seen;   // last packets, by set and key
  std::set<std::string> elements = {};  // of all sets
  const Surroundings around = {
      .now = [this] { return now; },
      .find_mac = [this](std::uint32_t ip) -> std::optional<MacAddress> {
        const auto found = neighbours.find(ip);
        return found == neighbours.end() ? std::nullopt : std::optional(found->second);
      },
      .last_packet = [this](PolicySet set, const ElementKey& key) -> std::optional<Millis> {
        const auto found = seen.find(name(set, key));
        return found == seen.end() ? std::nullopt : std::optional(found->second);
      }};

  // "users 0a000001": the set, and the key's bytes in hexadecimal.
  static std::string name(PolicySet set, const ElementKey& key) {
    std::string text = std::string(shape_of(set).name) + " ";
    for (std::size_t i = 0; i < key.size; ++i) {
      char digits[3];
      std::snprintf(digits, sizeof digits, "%02x", key.bytes.at(i));
      text += digits;
    }
    return text;
  }

  void change(const SetChange& change, Lines& lines) {
    const std::string element = name(change.set, change.key);
    const std::set<std::string> before = elements;
    if (change.change == ElementChange::FLUSH) {
      std::erase_if(elements, [&](const std::string& other) { return other.starts_with(element); });
    } else if (change.change == ElementChange::REMOVE) {
      elements.erase(element);
      seen.erase(element);
    } else {
      elements.insert(element);
    }
    const bool starts_anew = change.change == ElementChange::RENEW && before.contains(element);
    const std::string left = change.timeout == 0 ? "" : " " + std::to_string(change.timeout);
    if (starts_anew) lines.push_back("= " + element + left);
    for (const auto& gone : before) {
      if (!elements.contains(gone)) lines.push_back("- " + gone);
    }
    if (!before.contains(element) && elements.contains(element)) {
      lines.push_back("+ " + element + left);
    }
  }
};

KernelMessage message_of(const Lines& words) {
  KernelMessage message{};
  const std::string &verb = words[1], &what = words[2];
  message.command = verb == "add"          ? ADD_ENTRY
                    : verb == "remove"     ? REMOVE_ENTRY
                    : verb == "remove-mac" ? REMOVE_MAC
                    : verb == "times"      ? SET_TIMEOUTS
                                           : DAEMON_START;
  if (verb == "times") {
    message.ip = static_cast<std::uint32_t>(std::stoul(what));
    message.kind = static_cast<std::uint32_t>(std::stoul(words[3]));
  } else if (verb != "start") {
    message.kind = what == "user" ? ENTRY_USER : what == "ip" ? ENTRY_IP : ENTRY_MAC;
    message.ip = parse_ipv4(words[3]).value_or(0);
    message.mac = parse_mac(words[3]).value_or(MacAddress{});
    message.time_allowance = static_cast<std::uint32_t>(std::stoul("0" + words[4]));
    message.recheck_interval = static_cast<std::uint32_t>(std::stoul("0" + words[5]));
  }
  return message;
}

// "near IP MAC": the neighbour table. "packet SET KEY": the data path has seen one. "first KIND IP
// MAC": and tells of it. "adopt IP MAC": an earlier gate had let it in. Everything else is a
// message, or "clock".
void play(Gate& gate, const Lines& words, Effects& effects) {
  const std::string &verb = words[1], &what = words[2];
  const FirstPacket packet{.ip = parse_ipv4(words[3]).value_or(0),
                           .ip6 = {static_cast<unsigned char>(std::stoul("0" + words[5]))},
                           .mac = parse_mac(words[4]).value_or(MacAddress{})};
  if (verb == "near") {
    gate.neighbours[*parse_ipv4(what)] = *parse_mac(words[3]);
  } else if (verb == "packet") {
    gate.seen[what + " " + words[3]] = gate.now;
    gate.elements.insert(what + " " + words[3]);
  } else if (verb == "first") {
    if (what == "user") bind_user(gate.table, packet, gate.around, effects);
    if (what == "ip6") note_ip6(gate.table, packet, effects);
    if (what == "mac") begin_visit(gate.table, ENTRY_MAC, packet, gate.around, effects);
    if (what == "ip") begin_visit(gate.table, ENTRY_IP, packet, gate.around, effects);
  } else if (verb == "adopt") {
    adopt_user(gate.table, *parse_ipv4(what), {.since = gate.now}, parse_mac(words[3]));
  } else if (verb == "restore") {
    gate.elements.clear();
    restore_elements(gate.table, gate.around, [&](const SetChanges& changes) {
      effects.changes.insert(effects.changes.end(), changes.begin(), changes.end());
    });
  } else if (verb != "clock") {
    handle_message(gate.table, message_of(words), gate.around, effects);
  }
}

// A table without an order gives entries of one set in another order where words have 32 bits.
void sort_within_sets(Lines& lines) {
  const auto set_of = [](const std::string& line) { return line.substr(0, line.find(' ', 2)); };
  for (auto first = lines.begin(), end = first; first != lines.end(); first = end) {
    end = std::find_if(first, lines.end(),
                       [&](const auto& l) { return set_of(l) != set_of(*first); });
    std::sort(first, end);
  }
}

TEST(SessionTest, GoesAsWritten) {
  const std::string path = TEST_FOLDER "sessions.txt", expected = read_file(path);
  std::istringstream file(expected);
  std::string seen;
  Gate gate;
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with("> ") || line.starts_with("#") || line.empty()) seen += line + "\n";
    if (!line.starts_with("> ")) continue;
    Effects effects;
    std::istringstream steps(line.substr(2));
    for (std::string step; std::getline(steps, step, ';');) {
      Lines words = words_of(step);
      words.resize(8);
      gate.now = static_cast<Millis>(std::stod(words[0]) * 1'000);
      play(gate, words, effects);
    }
    while (expire(gate.table, gate.around, effects)) {
    }
    Lines lines;
    for (const SetChange& change : effects.changes) gate.change(change, lines);
    sort_within_sets(lines);
    for (const GateEvent& event : effects.events) lines.push_back(event_text(event));
    for (const std::uint32_t ip : effects.admitted) lines.push_back("admitted " + ip_text(ip));
    for (const std::uint32_t ip : effects.cut) lines.push_back("cut " + ip_text(ip));
    for (const std::string& text : lines) seen += text + "\n";
  }
  if (std::getenv("WRITE_SCENARIOS") != nullptr) write_file(path, seen);
  EXPECT_TRUE(same_lines(expected, seen));
}

}  // namespace
}  // namespace webauth
