#include "bench/soak_compare.h"

#include <charconv>
#include <cstdio>
#include <cstring>

namespace webauth {
namespace {

std::string differ(const std::string& what, const std::string& expected, const std::string& got) {
  return what + ":\n  expected " + expected + "\n  got      " + got + "\n";
}

bool is_message(const ExpectedMessage& expected, const std::string& datagram) {
  KernelMessage message;
  if (datagram.size() != sizeof message) return false;
  std::memcpy(&message, datagram.data(), sizeof message);
  if (expected.message.time_allowance - message.time_allowance <= expected.allowance_slack) {
    message.time_allowance = expected.message.time_allowance;
  }
  return std::memcmp(&message, &expected.message, sizeof message) == 0;
}

std::string compare_replies(const std::vector<Event>& batch, const Effects& expected,
                            const Observed& observed) {
  for (std::size_t i = 0; i < expected.replies.size(); ++i) {
    if (batch[i].manner == Manner::GONE || expected.replies[i] == observed.replies.at(i)) continue;
    return differ("reply to event " + std::to_string(i), printable(expected.replies[i]),
                  printable(observed.replies[i]));
  }
  return "";
}

std::string compare_messages(const Effects& expected, const Observed& observed) {
  for (std::size_t i = 0; i < observed.messages.size(); ++i) {
    const std::string got = printable(observed.messages[i].substr(0, 48));
    if (i >= expected.messages.size()) return differ("kernel message", "none", got);
    if (is_message(expected.messages[i], observed.messages[i])) continue;
    std::string bytes(sizeof(KernelMessage), '\0');
    std::memcpy(bytes.data(), &expected.messages[i].message, bytes.size());
    return differ("kernel message", printable(bytes.substr(0, 48)), got);
  }
  return "";
}

std::string compare_logs(const Effects& expected, const Observed& observed) {
  for (std::size_t i = 0; i < observed.log.size(); ++i) {
    const std::string got = printable(observed.log[i]);
    if (i >= expected.log.size()) return differ("log line", "none", got);
    if (expected.log[i] != observed.log[i]) {
      return differ("log line", printable(expected.log[i]), got);
    }
  }
  return "";
}

std::string compare_counts(const Effects& expected, const Observed& observed) {
  if (expected.messages.size() != observed.messages.size()) {
    return differ("kernel messages", std::to_string(expected.messages.size()),
                  std::to_string(observed.messages.size()));
  }
  if (expected.log.size() != observed.log.size()) {
    return differ("log lines", std::to_string(expected.log.size()),
                  std::to_string(observed.log.size()) + ", without " +
                      printable(expected.log[observed.log.size()]));
  }
  return "";
}

// Takes the line from the front of the list; false when another one stands there.
bool take_line(std::string_view& list, const ListLine& line, char mode) {
  if (!list.starts_with(line.client)) return false;
  list.remove_prefix(line.client.size());
  std::int64_t time = 0;
  const auto end = std::from_chars(list.data(), list.data() + list.size(), time).ptr;
  list.remove_prefix(static_cast<std::size_t>(end - list.data()));
  const char rest[] = {' ', mode, ' ', '\n'};
  if (!list.starts_with(std::string_view(rest, sizeof rest))) return false;
  list.remove_prefix(sizeof rest);
  return time >= line.login.first && time <= line.login.last;
}

}  // namespace

std::string printable(const std::string& bytes) {
  std::string text = std::to_string(bytes.size()) + " bytes \"";
  for (const char byte : bytes) {
    char hex[5];
    std::snprintf(hex, sizeof hex, "\\x%02x", static_cast<unsigned char>(byte));
    if (byte >= ' ' && byte <= '~' && byte != '\\') {
      text += byte;
    } else {
      text += hex;
    }
  }
  return text + "\"";
}

std::string find_difference(const std::vector<Event>& batch, const Effects& expected,
                            const Observed& observed, bool is_killed) {
  if (!observed.fault.empty()) return observed.fault + "\n";
  std::string difference;
  if (!is_killed) difference += compare_replies(batch, expected, observed);
  difference += compare_messages(expected, observed);
  difference += compare_logs(expected, observed);
  if (!is_killed && difference.empty()) difference += compare_counts(expected, observed);
  return difference;
}

std::string find_list_difference(const List& expected, char mode,
                                 const std::optional<std::string>& published) {
  if (expected.has_value() != published.has_value()) {
    return differ("published list", expected ? "a file" : "no file",
                  published ? printable(*published) : "no file");
  }
  if (!expected) return "";
  std::string_view rest = *published;
  for (const ListLine& line : *expected) {
    const std::string from(rest.substr(0, 200));
    if (take_line(rest, line, mode)) continue;
    return differ("published list",
                  printable(line.client) + " and a time of " + std::to_string(line.login.first) +
                      " to " + std::to_string(line.login.last),
                  printable(from));
  }
  if (rest.empty()) return "";
  return differ("published list", "its end", printable(std::string(rest.substr(0, 200))));
}

}  // namespace webauth
