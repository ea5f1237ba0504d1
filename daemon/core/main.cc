#include "common/fatal.h"
#include "common/standard_descriptors.h"
#include "daemon/core/main_loop.h"
#include "daemon/core/start_up.h"

int main(int argc, char** argv) {
  webauth::end_process_without_memory();
  webauth::occupy_standard_descriptors();
  webauth::AccountTable accounts;
  webauth::OnlineUserTable online_users;
  webauth::start_up(argc, argv, accounts);
  webauth::LoopState loop = webauth::begin_main_loop();
  for (;;) webauth::serve_one_pass(loop, accounts, online_users);
}
