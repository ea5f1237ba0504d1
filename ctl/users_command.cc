#include "ctl/users_command.h"

#include <unistd.h>

#include <iostream>
#include <optional>

#include "ctl/list_watch.h"
#include "ctl/operator_error.h"
#include "ctl/user_list.h"
#include "daemon/users/published_line.h"

namespace webauth {
namespace {

std::string rendered_list(bool json) {
  const UserList list = read_user_list(REGISTRATION_FILE);
  if (list.malformed > 0) {
    std::cerr << "webauthctl: malformed lines left out: " << list.malformed << std::endl;
  }
  return json ? user_json(list) : user_table(list);
}

/// A list that was rewritten as it was is no change worth printing.
int watch_list(bool json) {
  ListWatch watch(REGISTRATION_FILE);
  std::optional<std::string> shown;
  for (;;) {
    const std::string text = rendered_list(json);
    if (text != shown) {
      if (shown && !json) std::cout << '\n';
      std::cout << text << std::flush;
      if (!std::cout) throw OperatorError("cannot write the output");
      shown = text;
    }
    const WatchResult result = watch.wait(-1, STDOUT_FILENO);
    if (result == WatchResult::OUTPUT_GONE) return 1;
    if (result == WatchResult::LOST) {
      throw OperatorError(std::string("cannot watch the directory of ") + REGISTRATION_FILE);
    }
  }
}

}  // namespace

int run_users(const UsersOptions& options) {
  if (options.watch) return watch_list(options.json);
  std::cout << rendered_list(options.json);
  return 0;
}

}  // namespace webauth
