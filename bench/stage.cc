#include "bench/stage.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdio>

#include "common/address_text.h"
#include "common/clock.h"
#include "daemon/control/control_message.h"
#include "daemon/core/start_up.h"
#include "daemon/kernel/transport.h"
#include "daemon/login/email_group.h"
#include "daemon/login/login_record.h"
#include "daemon/users/registration_file.h"

namespace webauth {
namespace {

constexpr char MAC[] = "00:11:22:33:44:55";

std::string account_name(std::size_t number) {
  char text[32];
  std::snprintf(text, sizeof text, "visitor%06zu", number);
  return text;
}

// Every second account has a daily allowance, which is charged when its user goes.
void add_account(Stage& stage, std::size_t number) {
  OnlineUser account;
  account.kind = ENTRY_USER;
  account.user = account_name(number);
  account.create_time = now_seconds();
  if (number % 2 == 1) {
    account.limit_type = LIMIT_DAILY_TIME;
    account.limit_value = 24 * 3600;
  }
  append_user(stage.accounts, account);
}

void open_sockets(Stage& stage) {
  stage.log_sink = open_log_sink();
  stage.kernel_side = open_kernel_side(static_cast<std::uint32_t>(getpid()));
  login_listen_fd = open_login_socket(LOGIN_SOCKET_PATH);
  require(listen(login_listen_fd, 25) == 0, LOGIN_SOCKET_PATH);
  control_fd = open_control_socket(CONTROL_SOCKET_PATH);
  require(control_fd >= 0, CONTROL_SOCKET_PATH);
  netlink_fd = open_netlink_socket();
  require(netlink_fd >= 0, "the daemon's netlink socket");
  stage.control_client = connect_control();
}

}  // namespace

Stage::Stage(AuthMode mode, MailWay mail_way, std::size_t user_count)
    : mail(mail_way), users(user_count) {
  auth_mode = mode;
  if (mode == AuthMode::EMAIL) choose_mail_server(mail);
  open_sockets(*this);
  loop = begin_main_loop();
  const bool has_accounts = mode != AuthMode::LOCAL;
  for (std::size_t i = 0; i < users; ++i) {
    if (has_accounts) add_account(*this, i);
    put_online(*this, has_accounts ? account_name(i) : "");
  }
  if (has_accounts) {
    add_account(*this, users);
    spare_account = account_name(users);
  }
  publish(*this);
  group = "group1 Email_Auth 10.255.0.0";
  for (const auto& user : online_users.users) group.append(",").append(user->ip);
  group += " \n";
  if (mode == AuthMode::EMAIL) write_file(GROUP_FILE, group);
}

Stage::~Stage() {
  closelog();
  for (const int fd :
       {log_sink, kernel_side, control_client, login_listen_fd, control_fd, netlink_fd}) {
    close(fd);
  }
  if (loop.held_connection > 0) close(loop.held_connection);
  unlink(REGISTRATION_FILE);
  unlink(GROUP_FILE);
}

std::string fresh_address(Stage& stage) { return ip_text(htonl(0x0a000000U + ++stage.addresses)); }

void put_online(Stage& stage, const std::string& account) {
  OnlineUser user;
  if (const Position position = find_by_user(stage.accounts, account)) {
    user = user_at(stage.accounts, *position);
  }
  user.kind = ENTRY_USER;
  user.online = 1;
  user.login_time = now_seconds();
  user.ip = fresh_address(stage);
  user.mac = MAC;
  append_user(stage.online_users, user);
}

std::size_t anybody(Stage& stage) {
  const std::size_t position = stage.random() % stage.online_users.users.size();
  stage.spare_account = user_at(stage.online_users, position).user;
  return position;
}

void publish(Stage& stage) { write_registration_file(REGISTRATION_TEMP_FILE, stage.online_users); }

void drain(Stage& stage) {
  Traces& seen = stage.traces;
  seen.records.clear();
  for (std::string record; receive_now(stage.log_sink, record);) {
    seen.records.push_back(record.substr(record.find(": ") + 2));  // "<priority>date ident: text"
  }
  for (std::string message; receive_now(stage.kernel_side, message);) seen.message = message;
}

}  // namespace webauth
