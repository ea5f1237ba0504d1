#include "daemon/core/start_up.h"

#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "common/fatal.h"
#include "common/unix_address.h"
#include "daemon/control/control_message.h"
#include "daemon/core/event_log.h"
#include "daemon/core/settings.h"
#include "daemon/kernel/access_policy.h"
#include "daemon/kernel/transport.h"
#include "daemon/login/account_file.h"
#include "daemon/login/login_record.h"
#include "daemon/login/mail_connection.h"
#include "daemon/platform/settings_store.h"
#include "daemon/users/published_line.h"
#include "daemon/wechat/walled_garden.h"

namespace webauth {
namespace {

constexpr int LOGIN_BACKLOG = 25;

static_assert(fits_unix_address(LOGIN_SOCKET_PATH) && fits_unix_address(CONTROL_SOCKET_PATH));

// -d is accepted and changes nothing; getopt itself reports any other option.
void scan_command_line(int argc, char** argv) {
  while (getopt(argc, argv, "d") != -1) {
  }
}

void read_settings() {
  if (!nvram_open()) end_process();
  multi_user = read_multi_user();
  auth_mode = read_auth_mode();
  if (auth_mode == AuthMode::EMAIL) read_mail_server_settings();
}

void open_sockets() {
  login_listen_fd = open_login_socket(LOGIN_SOCKET_PATH);
  if (listen(login_listen_fd, LOGIN_BACKLOG) == -1) end_process();
  control_fd = open_control_socket(CONTROL_SOCKET_PATH);
  if (control_fd < 0) end_process();
  netlink_fd = open_netlink_socket();
  if (netlink_fd < 0) end_process();
  // An fd_set has no room for others; accept_connection sees to the login connection.
  if (std::max({login_listen_fd, control_fd, netlink_fd}) >= FD_SETSIZE) end_process();
}

}  // namespace

int open_login_socket(const char* path) {
  unlink(path);
  const sockaddr_un address = unix_address(path);
  const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
  if (fd < 0) end_process();
  if (bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) < 0) end_process();
  return fd;
}

int open_control_socket(const char* path) {
  const int fd = socket(AF_UNIX, SOCK_DGRAM, 0);
  if (fd < 0) return -1;
  const sockaddr_un address = unix_address(path);
  unlink(path);
  const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + std::strlen(path));
  if (bind(fd, reinterpret_cast<const sockaddr*>(&address), length) < 0) return -1;
  return fd;
}

void start_up(int argc, char** argv, AccountTable& accounts) {
  std::signal(SIGPIPE, SIG_IGN);  // a front end may go before it is answered
  std::signal(SIGXFSZ, SIG_IGN);  // a file at its size limit is a write that fails
  log_event(TITLE_DAEMON_STARTED, "");
  scan_command_line(argc, argv);
  (void)std::remove(REGISTRATION_FILE);
  read_settings();
  std::srand(static_cast<unsigned>(std::time(nullptr)));  // as ever; nothing here draws from it
  // The counts of the lists are not used; a missing file is an empty list.
  if (auth_mode == AuthMode::USERS) (void)load_accounts(ACCOUNT_FILE, accounts);
  open_sockets();
  push_daemon_start();
  if (auth_mode == AuthMode::EMAIL) init_tls_library();
  push_timeouts();
  (void)load_mac_list(MAC_LIST_FILE);
  (void)load_ip_list(IP_LIST_FILE);
  const ModeRow* mode = configured_mode();
  if (mode != nullptr && mode->garden) wechat_garden_push();
}

}  // namespace webauth
