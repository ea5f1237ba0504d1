#include "bench/operations.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdio>
#include <stdexcept>

#include "common/text_field.h"
#include "daemon/control/control_message.h"
#include "daemon/core/event_log.h"
#include "daemon/core/start_up.h"
#include "daemon/kernel/transport.h"
#include "daemon/login/email_group.h"
#include "daemon/users/published_line.h"

namespace webauth {
namespace {

constexpr double GOAL = 1.25;
constexpr double MAIL_GOAL = 1.5;
constexpr char MAC[] = "66:77:88:99:aa:bb";

void pass(Stage& stage) { serve_one_pass(stage.loop, stage.accounts, stage.online_users); }

// Pieces of the floors.

void receive(int fd, std::size_t length) {
  char bytes[512];
  require(recv(fd, bytes, sizeof bytes, 0) == static_cast<ssize_t>(length), "recv");
}

void write_records(const Lines& records) {
  for (const std::string& record : records) {
    if (!record.starts_with("R1 ")) {
      syslog(LOG_LINE_PRIORITY, "%s", record.c_str());
      continue;
    }
    openlog("user", LOG_NDELAY, LOG_LOCAL0);
    syslog(LOG_NOTICE, "%s", record.c_str());
    closelog();
  }
}

void write_list(const std::string& list) {
  const int flags = O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC;
  const int file = open(REGISTRATION_TEMP_FILE, flags, 0666);
  require(write(file, list.data(), list.size()) == std::ssize(list), "list");
  close(file);
  require(std::rename(REGISTRATION_TEMP_FILE, REGISTRATION_FILE) == 0, "list");
}

// Anybody may have planted something at the path, so that each open is followed by a look.
int open_group(int flags) {
  const int group = open(GROUP_FILE, flags | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0700);
  struct stat status {};
  require(fstat(group, &status) == 0, "group");
  return group;
}

void rewrite_group(const std::string& text) {
  int group = open_group(O_RDWR | O_CREAT);
  std::string before(static_cast<std::size_t>(lseek(group, 0, SEEK_END)), '\0');
  require(pread(group, before.data(), before.size(), 0) == std::ssize(before), "group");
  close(group);
  group = open_group(O_WRONLY);
  require(ftruncate(group, 0) == 0, "group");
  require(write(group, text.data(), text.size()) == std::ssize(text), "group");
  close(group);
}

// Logins: one connection with 300 bytes each way, one kernel message, the list, the log records.

void prepare_login(Stage& stage) {
  stage.sent = login_request(fresh_address(stage), MAC, stage.spare_account, "secret");
}

// A login takes two passes: its connection is accepted in one and read in the next.
void log_in(Stage& stage) {
  const int front_end = connect_front_end();
  send_whole(front_end, stage.sent);
  pass(stage);
  pass(stage);
  receive_now(front_end, stage.traces.reply);
  close(front_end);
}

void floor_login(Stage& stage) {
  const int front_end = connect_front_end();
  send_whole(front_end, stage.sent);
  const int connection = accept(login_listen_fd, nullptr, nullptr);
  receive(connection, stage.sent.size());
  send_whole(netlink_fd, stage.traces.message);
  send_whole(connection, stage.traces.reply);
  write_list(stage.traces.list);
  write_records(stage.traces.records);
  close(connection);
  receive(front_end, stage.traces.reply.size());
  close(front_end);
}

void restore_after_login(Stage& stage) {
  remove_user(stage.online_users, anybody(stage));
  publish(stage);
}

// E-mail logins: also the questions to the mail server, and the e-mail group file.

void floor_mail_login(Stage& stage) {
  bare_mail_client(stage.mail);
  floor_login(stage);
  rewrite_group(stage.traces.group);
}

void restore_after_mail_login(Stage& stage) {
  restore_after_login(stage);
  write_file(GROUP_FILE, stage.group);
}

// ENTRY_OFFLINE: one kernel message in, two log records, the list.

void prepare_offline(Stage& stage) {
  KernelMessage event;
  init_kernel_message(event, ENTRY_OFFLINE);
  event.ip = inet_addr(user_at(stage.online_users, anybody(stage)).ip.c_str());
  stage.sent = bytes_of(event);
}

void go_offline(Stage& stage) {
  send_whole(stage.kernel_side, stage.sent);
  pass(stage);
}

void floor_offline(Stage& stage) {
  send_whole(stage.kernel_side, stage.sent);
  receive(netlink_fd, stage.sent.size());
  write_records(stage.traces.records);
  write_list(stage.traces.list);
}

void restore_after_leaving(Stage& stage) {
  put_online(stage, stage.spare_account);
  publish(stage);
}

// CTL_CUT_IP: one control datagram in, one kernel message out, two log records, the list, a look at
// the size of the e-mail group file.

void prepare_cut(Stage& stage) {
  CutIpMessage message{};
  message.command = CTL_CUT_IP;
  (void)put_field(message.ip, user_at(stage.online_users, anybody(stage)).ip);
  stage.sent = bytes_of(message);
}

void cut(Stage& stage) {
  send_whole(stage.control_client, stage.sent);
  pass(stage);
}

void floor_cut(Stage& stage) {
  send_whole(stage.control_client, stage.sent);
  receive(control_fd, stage.sent.size());
  send_whole(netlink_fd, stage.traces.message);
  write_records(stage.traces.records);
  write_list(stage.traces.list);
  const int group = open_group(O_RDWR | O_CREAT);
  require(lseek(group, 0, SEEK_END) == 0, "group");
  close(group);
}

constexpr Operation mail_login(const char* name, MailWay way) {
  return {
      name, AuthMode::EMAIL, +1, prepare_login, log_in, floor_mail_login, restore_after_mail_login,
      way};
}

constexpr Operation OPERATIONS[] = {
    {"one-key login", AuthMode::LOCAL, +1, prepare_login, log_in, floor_login, restore_after_login},
    {"local-account login", AuthMode::USERS, +1, prepare_login, log_in, floor_login,
     restore_after_login},
    {"ENTRY_OFFLINE", AuthMode::USERS, -1, prepare_offline, go_offline, floor_offline,
     restore_after_leaving},
    {"CTL_CUT_IP", AuthMode::USERS, -1, prepare_cut, cut, floor_cut, restore_after_leaving},
    mail_login("e-mail login, POP3", {}),
    mail_login("e-mail login, IMAP", {.imap = true}),
    mail_login("e-mail login, POP3 TLS", {.tls = true}),
    mail_login("e-mail login, IMAP TLS", {.tls = true, .imap = true}),
};

// A turn lasts some tenths of a second.
int iterations_for(const Operation& operation, std::size_t users) {
  if (operation.mode == AuthMode::EMAIL || users >= 100'000) return 60;
  return users >= 10'000 ? 400 : 2'000;
}

}  // namespace

std::span<const Operation> operations() { return OPERATIONS; }

Seconds perform(const Operation& operation, Stage& stage) {
  operation.prepare(stage);
  const Seconds seconds = seconds_of([&] { operation.daemon(stage); });
  drain(stage);
  const auto expected = static_cast<std::ptrdiff_t>(stage.users) + operation.change;
  if (std::ssize(stage.online_users.users) != expected || stage.traces.records.size() < 2) {
    throw std::runtime_error(std::string(operation.name) + " has had no effect");
  }
  return seconds;
}

void measure_operation(Table& table, const Operation& operation, std::size_t users) {
  Stage stage(operation.mode, operation.mail, users);
  (void)perform(operation, stage);
  stage.traces.list = read_file(REGISTRATION_FILE);
  stage.traces.group = read_file(GROUP_FILE);
  operation.restore(stage);
  const auto daemon = [&] {
    const Seconds seconds = perform(operation, stage);
    operation.restore(stage);
    return seconds;
  };
  const auto floor = [&] {
    operation.prepare(stage);
    const Seconds seconds = seconds_of([&] { operation.floor(stage); });
    drain(stage);
    return seconds;
  };
  Row row{operation.name, users, GOAL};
  if (operation.mode == AuthMode::EMAIL) {  // which mostly waits for the server
    row.goal = MAIL_GOAL;
    row.processor = "  processor time";
  }
  measure_in_turns(table, row, iterations_for(operation, users), daemon, floor);
}

}  // namespace webauth
