#include <fcntl.h>
#include <unistd.h>

#include "core/main_loop.h"
#include "core/start_up.h"

int main(int argc, char** argv) {
  // Whoever starts the daemon may have closed these; a socket must not take the place of one.
  int spare = open("/dev/null", O_RDWR);
  while (spare >= 0 && spare <= STDERR_FILENO) spare = open("/dev/null", O_RDWR);
  if (spare >= 0) close(spare);

  webauth::AccountTable accounts;
  webauth::OnlineUserTable online_users;
  webauth::start_up(argc, argv, accounts);
  webauth::LoopState loop = webauth::begin_main_loop();
  for (;;) webauth::serve_one_pass(loop, accounts, online_users);
}
