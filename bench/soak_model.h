// What the soak expects of the daemon, written once more from what is documented of it: it shares
// the wire records with the daemon and no code.
//
// The daemon reads the clock somewhere between two readings of ours, so times are spans of seconds.
// Nearly always the two ends are the same; then everything is predicted to the byte.
#pragma once

#include <sys/types.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "bench/soak_event.h"
#include "daemon/kernel/kernel_message.h"

namespace webauth {

struct Span {
  std::int64_t first = 0;
  std::int64_t last = 0;
};

using Date = std::array<int, 3>;  // year, month, day: compares as the calendar does

Date local_date(std::int64_t time);

struct Limit {
  enum { NONE, DATE, DAILY } type = NONE;
  Date last_day{};
  std::int64_t seconds = 0;  // a day
};

struct Account {
  std::string user;
  Limit limit = {};
  Span login = {};
  Span logout = {};
  Span used = {};  // seconds on the day of `logout`
};

struct Session {
  std::uint32_t kind;
  std::string user, ip, mac;
  bool online = true;
  Span login = {};
  Limit limit = {};
};

struct ListLine {
  std::string client;  // what stands before the login time
  Span login;
};

using List = std::optional<std::vector<ListLine>>;  // nothing: there is no file

struct ExpectedMessage {
  KernelMessage message;
  std::uint32_t allowance_slack = 0;  // time_allowance may be so much less
};

/// What the daemon does for one batch of events.
struct Effects {
  std::vector<std::string> replies = {};  ///< bytes, one element per event on the login channel
  std::vector<ExpectedMessage> messages = {};
  std::vector<std::string> log = {};
};

struct Model {
  bool accounts_mode = false;  ///< mode USERS, else LOCAL
  bool multi_user = false;
  pid_t daemon = 0;
  std::vector<Account> accounts = {};
  std::vector<Session> sessions = {};
  List list = {};
  bool group_file = false;  ///< a cut looks at the e-mail group file and so makes it
};

/// The daemon starts with these lines in its account file and no other setting than its mode.
void apply_start(Model& model, const std::vector<std::string>& account_lines, Effects& effects);

void apply(Model& model, const Event& event, Span now, Effects& effects);

}  // namespace webauth
