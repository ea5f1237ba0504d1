#include "bench/floor.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdio>

#include "bench/mail.h"
#include "bench/neighbours.h"
#include "daemon/core/event_log.h"
#include "daemon/core/start_up.h"
#include "daemon/kernel/transport.h"
#include "daemon/login/email_group.h"
#include "daemon/users/published_line.h"

namespace webauth {
namespace {

void send_whole(int fd, const void* bytes, std::size_t length) {
  require(send(fd, bytes, length, MSG_NOSIGNAL) == static_cast<ssize_t>(length), "send");
}

void receive_whole(int fd, void* bytes, std::size_t length) {
  require(recv(fd, bytes, length, 0) == static_cast<ssize_t>(length), "recv");
}

void write_records(const Traces& traces) {
  for (const std::string& record : traces.records) {
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
  const int flags = O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC;
  const int file = open(REGISTRATION_TEMP_FILE, flags, 0666);
  const ssize_t written = write(file, list.data(), list.size());
  require(written == static_cast<ssize_t>(list.size()), REGISTRATION_TEMP_FILE);
  close(file);
  require(std::rename(REGISTRATION_TEMP_FILE, REGISTRATION_FILE) == 0, REGISTRATION_FILE);
}

void rewrite_group(const std::string& text) {
  int group = open(GROUP_FILE, O_RDWR | O_CREAT | O_CLOEXEC, 0700);
  std::string before(static_cast<std::size_t>(lseek(group, 0, SEEK_END)), '\0');
  require(pread(group, before.data(), before.size(), 0) == std::ssize(before), GROUP_FILE);
  close(group);
  group = open(GROUP_FILE, O_WRONLY | O_TRUNC | O_CLOEXEC);
  require(write(group, text.data(), text.size()) == std::ssize(text), GROUP_FILE);
  close(group);
}

}  // namespace

void floor_login(World& world) {
  LoginRequest request;
  LoginReply reply;
  const int front_end = connect_front_end();
  send_whole(front_end, &world.request, sizeof world.request);
  const int connection = accept(login_listen_fd, nullptr, nullptr);
  receive_whole(connection, &request, sizeof request);
  send_whole(netlink_fd, &world.traces.message, sizeof world.traces.message);
  send_whole(connection, &world.traces.reply, sizeof world.traces.reply);
  write_list(world.traces.list);
  write_records(world.traces);
  close(connection);
  receive_whole(front_end, &reply, sizeof reply);
  close(front_end);
}

void floor_mail_login(World& world, bool tls, bool imap) {
  bare_mail_client(tls, imap);
  floor_login(world);
  rewrite_group(world.traces.group);
}

void floor_offline(World& world) {
  KernelMessage event;
  send_whole(world.kernel_side, &world.event, sizeof world.event);
  receive_whole(netlink_fd, &event, sizeof event);
  write_records(world.traces);
  write_list(world.traces.list);
}

void floor_cut(World& world) {
  CutIpMessage cut;
  send_whole(world.control_client, &world.cut, sizeof world.cut);
  receive_whole(control_fd, &cut, sizeof cut);
  send_whole(netlink_fd, &world.traces.message, sizeof world.traces.message);
  write_records(world.traces);
  write_list(world.traces.list);
  const int group = open(GROUP_FILE, O_RDWR | O_CREAT | O_CLOEXEC, 0700);
  require(lseek(group, 0, SEEK_END) == 0, GROUP_FILE);
  close(group);
}

}  // namespace webauth
