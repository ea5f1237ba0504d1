#include "daemon/login/account_file.h"

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

OnlineUser read_account(std::string_view line) {
  const AccountLine fields = read_account_line(line);
  OnlineUser account;
  account.kind = ENTRY_USER;
  account.user = fields.user;
  if (fields.has_validity) set_validity(account, fields.validity);
  account.note = fields.note;
  return account;
}

int load_accounts(const char* path, AccountTable& accounts) {
  const File file = open_for_reading(path);
  if (!file) return -1;
  int added = 0;
  char line[ACCOUNT_LINE_SIZE];
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
