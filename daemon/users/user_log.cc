#include "daemon/users/user_log.h"

#include "daemon/core/event_log.h"

namespace webauth {

std::string client_text(const OnlineUser& user) { return user.ip + " " + user.mac; }

void log_user(const char* key, const OnlineUser& user) {
  const std::string text = std::string(key) + " " + user.user;
  log_event(TITLE_USER, text.c_str());
}

void log_session(const char* title, const char* key, const OnlineUser& user) {
  const std::string text =
      std::string(key) + " " + user.user + " IP: " + user.ip + " MAC: " + user.mac;
  log_event(title, text.c_str());
}

}  // namespace webauth
