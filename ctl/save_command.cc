#include <cerrno>
#include <cstring>
#include <iostream>
#include <unordered_set>

#include "common/replace_file.h"
#include "ctl/operator_error.h"
#include "ctl/restore_command.h"
#include "ctl/user_list.h"

namespace webauth {
namespace {

constexpr mode_t SAVED_MODE = 0600;  // names of people

// The list as it is written: what cannot be read as a user is left out.
std::string text_of(const UserList& list) {
  std::string text;
  for (const ListedUser& user : list.users) {
    append_published_line(text, {.user = user.user,
                                 .ip = user.ip,
                                 .mac = user.mac,
                                 .login_time = user.login_time,
                                 .mode = user.mode});
  }
  return text;
}

void add_earlier(UserList& list, const std::string& path) {
  std::unordered_set<std::string> addresses;
  for (const ListedUser& user : list.users) addresses.insert(user.ip);
  for (ListedUser& user : read_trusted_list(path.c_str()).users) {
    if (!addresses.contains(user.ip)) list.users.push_back(std::move(user));
  }
}

}  // namespace

int run_save(const SaveOptions& options) {
  UserList list = read_trusted_list(REGISTRATION_FILE);
  report_malformed(list);
  if (options.add) add_earlier(list, options.file);
  if (!replace_file(options.file, text_of(list), SAVED_MODE)) {
    throw OperatorError("cannot write " + options.file + ": " + std::strerror(errno));
  }
  std::cout << "saved: " << list.users.size() << '\n';
  return STATUS_DONE;
}

}  // namespace webauth
