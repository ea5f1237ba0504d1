#include "ctl/status_command.h"

#include <algorithm>
#include <ctime>
#include <iostream>
#include <nlohmann/json.hpp>

#include "ctl/daemon_status.h"
#include "ctl/exit_status.h"
#include "ctl/gate_state.h"
#include "ctl/padded.h"
#include "ctl/piece_file.h"
#include "ctl/user_text.h"
#include "daemon/login/account_line.h"
#include "daemon/platform/settings_store.h"

namespace webauth {
namespace {

void print_item(const char* name, const std::string& value) {
  std::cout << padded(name, 12) << value << '\n';
}

std::string presence_words(const DaemonStatus& status) {
  if (!status.runs) return "not running";
  std::string words = "running";
  if (status.pid > 0) words += ", process " + std::to_string(status.pid);
  if (status.answers == false) words += ", does not answer within 2 s: busy or stopped";
  return words;
}

std::string mode_words(const DaemonStatus& status) {
  std::string mode = mode_row(status.mode).text;
  if (!status.runs) return mode + ", as the settings say";
  if (status.list.users.empty() && status.settings_changed) {
    return mode + ", as the settings say, which were changed after the start";
  }
  return mode;
}

std::string list_words(const DaemonStatus& status, std::time_t now) {
  const UserList& list = status.list;
  if (!status.list_problem.empty()) return status.list_problem;
  if (!list.exists) return "none since the start";
  return time_text(list.written) + ", " + duration_text(now - list.written) + " ago";
}

void print_text(const DaemonStatus& status, std::time_t now) {
  print_item("daemon", presence_words(status));
  print_item("mode", mode_words(status));
  if (status.since) {
    print_item("since", time_text(*status.since) + ", " + duration_text(now - *status.since));
  }
  if (status.runs) {
    print_item("online", std::to_string(status.list.users.size()));
    print_item("last change", list_words(status, now));
  }
  print_item("gate", gate_words(gate_state()));
}

void print_json(const DaemonStatus& status, std::time_t now) {
  nlohmann::ordered_json object = {{"up", status.runs},
                                   {"answers", nullptr},
                                   {"pid", nullptr},
                                   {"mode", mode_row(status.mode).text},
                                   {"since", nullptr},
                                   {"online", status.list.users.size()},
                                   {"last_change", nullptr},
                                   {"list_age", nullptr},
                                   {"gate", gate_word(gate_state())}};
  if (status.answers) object["answers"] = *status.answers;
  if (status.pid > 0) object["pid"] = status.pid;
  if (status.since) object["since"] = *status.since;
  if (status.list.exists) {
    object["last_change"] = status.list.written;
    object["list_age"] = now - status.list.written;
  }
  std::cout << json_line(object);
}

void print_help(const char* name, const char* help) {
  std::cout << "# HELP webauthd_" << name << ' ' << help << "\n# TYPE webauthd_" << name
            << " gauge\n";
}

void print_metric(const char* name, const char* help, std::int64_t value) {
  print_help(name, help);
  std::cout << "webauthd_" << name << ' ' << value << '\n';
}

bool is_readable(const char* path) { return open_pieces(path).state == FileState::READABLE; }

std::int64_t oldest_session(const UserList& list, std::time_t now) {
  std::int64_t oldest = 0;
  for (const ListedUser& user : list.users) oldest = std::max(oldest, online_seconds(user, now));
  return oldest;
}

void print_online(const UserList& list) {
  print_help("online", "Users online, by mode of authentication.");
  for (const ModeRow& row : AUTH_MODES) {
    const auto count = std::count_if(list.users.begin(), list.users.end(),
                                     [&](const ListedUser& user) { return user.mode == row.mode; });
    std::cout << "webauthd_online{mode=\"" << row.text << "\"} " << count << '\n';
  }
}

}  // namespace

int run_status(bool json) {
  const DaemonStatus status = daemon_status();
  const std::time_t now = std::time(nullptr);
  report_malformed(status.list);
  if (json) {
    print_json(status, now);
  } else {
    print_text(status, now);
  }
  return !status.runs ? STATUS_DOWN : STATUS_DONE;
}

int run_metrics() {
  const DaemonStatus status = daemon_status();
  const std::time_t now = std::time(nullptr);
  print_metric("up", "Whether the daemon is running.", status.runs ? 1 : 0);
  if (status.answers) {
    print_metric("answers", "Whether it answered within two seconds.", *status.answers ? 1 : 0);
  }
  print_online(status.list);
  print_metric("oldest_session_seconds", "Seconds since the oldest login of those online.",
               oldest_session(status.list, now));
  if (status.list.exists) {
    print_metric("list_age_seconds", "Seconds since the published list was last written.",
                 now - status.list.written);
  }
  print_metric("settings_readable", "Whether the settings file can be read.",
               is_readable(settings_path()) ? 1 : 0);
  print_metric("accounts_readable", "Whether the account file can be read.",
               is_readable(ACCOUNT_FILE) ? 1 : 0);
  return STATUS_DONE;
}

}  // namespace webauth
