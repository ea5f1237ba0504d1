#include "gate/gate_command.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <vector>

#include "common/address_input.h"
#include "common/terminal_text.h"

namespace webauth {
namespace {

constexpr char COMMANDS[] = "use: online KIND IP MAC | offline IP | check-expiry IP | list";

std::vector<std::string_view> split_words(std::string_view line) {
  constexpr std::string_view BLANKS = " \t\r";
  std::vector<std::string_view> words;
  for (;;) {
    line.remove_prefix(std::min(line.find_first_not_of(BLANKS), line.size()));
    if (line.empty()) return words;
    const std::size_t end = std::min(line.find_first_of(BLANKS), line.size());
    words.push_back(line.substr(0, end));
    line.remove_prefix(end);
  }
}

std::optional<std::uint32_t> parse_kind(std::string_view word) {
  if (word == "mac") return ENTRY_MAC;
  if (word == "ip") return ENTRY_IP;
  if (word == "user") return ENTRY_USER;
  std::uint32_t kind = 0;
  const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), kind);
  if (error != std::errc{} || end != word.data() + word.size()) return {};
  return kind;
}

std::optional<GateCommand> refuse(std::string& problem, const char* what, std::string_view word) {
  problem = std::string(what) + " '" + terminal_text(word) + "'; " + COMMANDS;
  return {};
}

std::optional<GateCommand> parse_online(const std::vector<std::string_view>& words,
                                        std::string& problem) {
  const auto kind = parse_kind(words[1]);
  if (!kind) return refuse(problem, "not a kind:", words[1]);
  const auto ip = parse_ipv4(words[2]);
  if (!ip) return refuse(problem, "not a dotted IPv4 address:", words[2]);
  const auto mac = parse_mac(words[3]);
  if (!mac) return refuse(problem, "not a MAC address:", words[3]);
  return GateCommand{GateEvent{ENTRY_ONLINE, *ip, *kind, *mac}};
}

}  // namespace

std::optional<GateCommand> parse_gate_command(std::string_view line, std::string& problem) {
  const std::vector<std::string_view> words = split_words(line);
  const std::string_view verb = words.empty() ? std::string_view() : words[0];
  const bool is_online = verb == "online";
  const bool is_list = verb == "list";
  if (!is_online && !is_list && verb != "offline" && verb != "check-expiry") {
    return refuse(problem, "unknown command", verb);
  }
  if (words.size() != (is_online ? 4 : is_list ? 1 : 2)) {
    return refuse(problem, "wrong number of arguments for", verb);
  }
  if (is_list) return GateCommand{};
  if (is_online) return parse_online(words, problem);
  const auto ip = parse_ipv4(words[1]);
  if (!ip) return refuse(problem, "not a dotted IPv4 address:", words[1]);
  return GateCommand{GateEvent{verb == "offline" ? ENTRY_OFFLINE : CHECK_EXPIRY, *ip}};
}

}  // namespace webauth
