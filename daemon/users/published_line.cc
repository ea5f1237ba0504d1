#include "daemon/users/published_line.h"

#include <charconv>

#include "daemon/core/settings.h"
#include "daemon/kernel/kernel_message.h"

namespace webauth {
namespace {

void append_number(std::string& text, std::int32_t number) {
  char digits[11];
  const auto end = std::to_chars(digits, digits + sizeof digits, number).ptr;
  text.append(digits, end);
}

}  // namespace

void append_published_line(std::string& text, const OnlineUser& user) {
  if (user.online != 1 || user.kind != ENTRY_USER) return;
  text.append(user.user).push_back(' ');
  text.append(user.ip).push_back(' ');
  text.append(user.mac).push_back(' ');
  append_number(text, user.login_time);
  text.push_back(' ');
  append_number(text, static_cast<std::int32_t>(auth_mode));
  text.append(" \n");
}

}  // namespace webauth
