#include "ctl/events_command.h"

#include <ctime>
#include <iostream>
#include <nlohmann/json.hpp>

#include "common/terminal_text.h"
#include "ctl/operator_error.h"
#include "ctl/user_text.h"

namespace webauth {
namespace {

const char* event_name(ListEvent event) {
  switch (event) {
    case ListEvent::ARRIVED:
      return "arrived";
    case ListEvent::DEPARTED:
      return "departed";
    default:
      return "changed";
  }
}

std::string daemon_line(bool came, std::time_t now, bool json) {
  const char* const event = came ? "daemon back" : "daemon gone";
  if (json) return json_line({{"time", now}, {"event", event}});
  return time_text(now) + "  " + event + '\n';
}

std::string change_line(const ListChange& change, std::time_t now, bool json) {
  const ListedUser& user = change.user;
  if (json) {
    nlohmann::ordered_json object = {{"time", now}, {"event", event_name(change.event)}};
    object.update(user_object(user));
    return json_line(object);
  }
  std::string line = time_text(now) + "  " + event_name(change.event) + "  " +
                     terminal_text(user.ip) + "  " + terminal_text(user.mac) + "  " +
                     mode_row(user.mode).text + "  " +
                     (user.user.empty() ? "-" : terminal_text(user.user));
  if (change.event == ListEvent::DEPARTED) {
    line += "  after " + duration_text(online_seconds(user, now));
  }
  return line + '\n';
}

}  // namespace

void print_events(const Followed& found, bool json) {
  if (found.daemon.empty() && found.changes.empty()) return;
  const std::time_t now = std::time(nullptr);
  std::string text;
  for (const bool came : found.daemon) text += daemon_line(came, now, json);
  for (const ListChange& change : found.changes) text += change_line(change, now, json);
  if (!(std::cout << text << std::flush)) throw OperatorError("cannot write the output");
}

int run_events(bool json) {
  ListFollower follower;
  if (!follower.daemon_is_up()) std::cerr << "webauthctl: the daemon is not running" << std::endl;
  Followed found;
  while (follower.follow(found)) print_events(found, json);
  return STATUS_ERROR;
}

}  // namespace webauth
