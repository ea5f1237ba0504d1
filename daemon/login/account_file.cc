#include "daemon/login/account_file.h"

#include <string_view>
#include <utility>

#include "common/clock.h"
#include "common/file.h"
#include "daemon/core/event_log.h"
#include "daemon/core/settings.h"
#include "daemon/kernel/kernel_message.h"
#include "daemon/users/user_log.h"

namespace webauth {

OnlineUser read_account(std::string_view line) {
  const AccountLine split = split_account_line(line);
  const AccountLimit limit = account_limit(split);
  OnlineUser account;
  account.kind = ENTRY_USER;
  account.user = account_name(split);
  account.limit_type = limit.type;
  account.limit_value = limit.value;
  account.note = account_note(split);
  return account;
}

int load_accounts(const char* path, AccountTable& accounts) {
  const File file = open_for_reading(path);
  if (!file) return -1;
  int added = 0;
  char line[ACCOUNT_LINE_SIZE];
  while (read_line(file.get(), line)) {
    OnlineUser account = read_account(line);
    if (is_left_out({account.limit_type, account.limit_value}, multi_user == 1)) continue;
    account.create_time = now_seconds();
    log_user(KEY_ACCOUNT, account);
    append_user(accounts, std::move(account));
    ++added;
  }
  return added;
}

}  // namespace webauth
