#include "bench/world.h"

#include <sys/socket.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdio>
#include <string_view>

#include "bench/neighbours.h"
#include "common/clock.h"
#include "common/file.h"
#include "daemon/core/start_up.h"
#include "daemon/kernel/transport.h"
#include "daemon/login/email_group.h"
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
void add_account(World& world, std::size_t number) {
  OnlineUser account;
  account.kind = ENTRY_USER;
  account.user = account_name(number);
  account.create_time = now_seconds();
  if (number % 2 == 1) {
    account.limit_type = LIMIT_DAILY_TIME;
    account.limit_value = 24 * 3600;
  }
  append_user(world.accounts, account);
}

void open_sockets(World& world) {
  world.log_sink = open_log_sink();
  world.kernel_side = open_kernel_side(static_cast<std::uint32_t>(getpid()));
  login_listen_fd = open_login_socket(LOGIN_SOCKET_PATH);
  require(listen(login_listen_fd, 25) == 0, LOGIN_SOCKET_PATH);
  control_fd = open_control_socket(CONTROL_SOCKET_PATH);
  require(control_fd >= 0, CONTROL_SOCKET_PATH);
  netlink_fd = open_netlink_socket();
  require(netlink_fd >= 0, "the daemon's netlink socket");
  world.control_client = connect_control();
}

std::string text_of(const char* path) {
  std::string text;
  const File file = open_for_reading(path);
  if (!file) return text;
  char block[4096];
  std::size_t count;
  while ((count = std::fread(block, 1, sizeof block, file.get())) > 0) text.append(block, count);
  return text;
}

}  // namespace

World::World(AuthMode mode, std::size_t user_count) : users(user_count) {
  auth_mode = mode;
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
  if (mode == AuthMode::EMAIL) restore_group(*this);
}

World::~World() {
  closelog();
  for (const int fd :
       {log_sink, kernel_side, control_client, login_listen_fd, control_fd, netlink_fd}) {
    close(fd);
  }
  if (loop.held_connection > 0) close(loop.held_connection);
  unlink(REGISTRATION_FILE);
  unlink(GROUP_FILE);
}

std::string fresh_address(World& world) {
  const std::uint32_t number = ++world.addresses;
  char text[16];
  std::snprintf(text, sizeof text, "10.%u.%u.%u", number >> 16 & 255, number >> 8 & 255,
                number & 255);
  return text;
}

void put_online(World& world, const std::string& account) {
  OnlineUser user;
  if (const Position position = find_by_user(world.accounts, account)) {
    user = user_at(world.accounts, *position);
  }
  user.kind = ENTRY_USER;
  user.online = 1;
  user.login_time = now_seconds();
  user.ip = fresh_address(world);
  user.mac = MAC;
  append_user(world.online_users, user);
}

void take_out_anybody(World& world) {
  const std::size_t position = anybody(world);
  world.spare_account = user_at(world.online_users, position).user;
  remove_user(world.online_users, position);
}

std::size_t anybody(World& world) { return world.random() % world.online_users.users.size(); }

void publish(World& world) { write_registration_file(REGISTRATION_TEMP_FILE, world.online_users); }

void drain(World& world, Traces& seen) {
  char record[2048];
  seen.records.clear();
  ssize_t length;
  while ((length = recv(world.log_sink, record, sizeof record, MSG_DONTWAIT)) > 0) {
    // "<priority>date ident: text"
    const std::string_view whole(record, static_cast<std::size_t>(length));
    seen.records.emplace_back(whole.substr(whole.find(": ") + 2));
  }
  KernelMessage message;
  while (recv(world.kernel_side, &message, sizeof message, MSG_DONTWAIT) > 0) {
    seen.message = message;
  }
}

void restore_group(const World& world) {
  const File file(std::fopen(GROUP_FILE, "we"));
  require(file && std::fputs(world.group.c_str(), file.get()) >= 0, GROUP_FILE);
}

void read_files(World& world) {
  world.traces.list = text_of(REGISTRATION_FILE);
  world.traces.group = text_of(GROUP_FILE);
}

}  // namespace webauth
