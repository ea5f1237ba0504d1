#include "daemon/login/account_file.h"

#include <array>
#include <string_view>
#include <utility>

#include "common/clock.h"
#include "common/file.h"
#include "daemon/core/event_log.h"
#include "daemon/core/settings.h"
#include "daemon/kernel/kernel_message.h"
#include "daemon/users/account_limit.h"
#include "daemon/users/user_log.h"

namespace webauth {
namespace {

constexpr int LINE_SIZE = 256;
constexpr std::size_t NAME_LENGTH = 63;  // also of the note
constexpr std::size_t VALIDITY_LENGTH = 15;

struct Fields {
  std::array<std::string_view, 5> text;
  std::size_t count = 0;
};

Fields split(std::string_view line) {
  line = line.substr(0, line.find('\n'));
  Fields fields;
  while (fields.count < fields.text.size()) {
    const std::size_t end = line.find(' ');
    fields.text[fields.count++] = line.substr(0, end);
    if (end == std::string_view::npos) break;
    line.remove_prefix(end + 1);
  }
  return fields;
}

}  // namespace

OnlineUser read_account(std::string_view line) {
  const Fields fields = split(line);
  OnlineUser account;
  account.kind = ENTRY_USER;
  account.user = fields.text[0].substr(0, NAME_LENGTH);
  if (fields.count >= 4) set_validity(account, fields.text[3].substr(0, VALIDITY_LENGTH));
  if (fields.text[4] != "*") account.note = fields.text[4].substr(0, NAME_LENGTH);
  return account;
}

int load_accounts(const char* path, AccountTable& accounts) {
  const File file = open_for_reading(path);
  if (!file) return -1;
  int added = 0;
  char line[LINE_SIZE];
  while (read_line(file.get(), line)) {
    OnlineUser account = read_account(line);
    // An allowance is counted per account, which several sessions at once would make meaningless.
    if (multi_user == 1 && account.limit_type == LIMIT_DAILY_TIME) continue;
    account.create_time = now_seconds();
    log_user(KEY_ACCOUNT, account);
    append_user(accounts, std::move(account));
    ++added;
  }
  return added;
}

}  // namespace webauth
