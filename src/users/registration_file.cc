#include "users/registration_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <charconv>
#include <cstdio>

#include "base/fd_guard.h"
#include "core/settings.h"
#include "kernel/kernel_message.h"

namespace webauth {
namespace {

void append_number(std::string& text, std::int32_t number) {
  char digits[11];
  const auto end = std::to_chars(digits, digits + sizeof digits, number).ptr;
  text.append(digits, end);
}

void append_line(std::string& text, const OnlineUser& user) {
  text.append(user.user).push_back(' ');
  text.append(user.ip).push_back(' ');
  text.append(user.mac).push_back(' ');
  append_number(text, user.login_time);
  text.push_back(' ');
  append_number(text, static_cast<std::int32_t>(auth_mode));
  text.append(" \n");
}

// Adds the lines of the records that have none yet; those before them are as they should be.
void render_list(UserTable& table) {
  for (std::size_t i = table.listed_lengths.size(); i < table.users.size(); ++i) {
    const std::size_t before = table.listed_text.size();
    const OnlineUser& user = user_at(table, i);
    if (user.online == 1 && user.kind == ENTRY_USER) append_line(table.listed_text, user);
    table.listed_lengths.push_back(static_cast<std::uint32_t>(table.listed_text.size() - before));
  }
}

}  // namespace

int write_registration_file(const char* temp_path, UserTable& table) {
  render_list(table);
  {
    // Anybody may plant a link or a pipe in /tmp: do not follow the one or wait for the other.
    const int flags = O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;
    const FdGuard file(open(temp_path, flags, 0666));
    const ssize_t written = write(file.get(), table.listed_text.data(), table.listed_text.size());
    (void)written;  // a short list is published all the same
  }
  (void)std::rename(REGISTRATION_TEMP_FILE, REGISTRATION_FILE);
  return 0;
}

}  // namespace webauth
