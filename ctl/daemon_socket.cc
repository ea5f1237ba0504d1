#include "ctl/daemon_socket.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>

#include "common/clock.h"
#include "common/fd_guard.h"
#include "common/file.h"
#include "common/unix_address.h"
#include "ctl/operator_error.h"
#include "daemon/login/login_record.h"

namespace webauth {
namespace {

constexpr std::int64_t DATAGRAM_PATIENCE_US = 10'000'000;

[[noreturn]] void fail(const char* path, const char* what, int error) {
  const std::string where = std::string(" (") + path + ": " + std::strerror(error) + ")";
  if (error == ENOENT || error == ECONNREFUSED) {
    throw OperatorError("the daemon is not running" + where, STATUS_DOWN);
  }
  throw OperatorError(what + where);
}

/// A UNIX socket whose blocking calls give up with EAGAIN after `patience`, at least a millisecond.
int open_socket(int type, std::int64_t patience) {
  const int fd = socket(AF_UNIX, type | SOCK_CLOEXEC, 0);
  if (fd < 0) throw OperatorError(std::string("cannot open a socket: ") + std::strerror(errno));
  patience = std::max<std::int64_t>(patience, 1'000);
  const timeval limit{.tv_sec = static_cast<time_t>(patience / 1'000'000),
                      .tv_usec = static_cast<suseconds_t>(patience % 1'000'000)};
  (void)setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
  return fd;
}

/// False, with `errno`, when that failed.
bool connect_to(int fd, const char* path) {
  const sockaddr_un address = unix_address(path);
  return connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

/// False when the daemon accepts nobody before the time is over.
bool connect_login(int fd) {
  if (connect_to(fd, LOGIN_SOCKET_PATH)) return true;
  if (errno != EAGAIN) fail(LOGIN_SOCKET_PATH, "cannot connect to the daemon", errno);
  return false;
}

/// Whether the kernel's table of UNIX sockets has the path, for a user who may not connect to it.
bool is_in_table(std::string_view path) {
  const File table(std::fopen("/proc/net/unix", "re"));
  char line[256];
  while (table && read_line(table.get(), line)) {
    std::string_view text(line);
    if (text.ends_with('\n')) text.remove_suffix(1);
    if (text.size() > path.size() && text[text.size() - path.size() - 1] == ' ' &&
        text.ends_with(path)) {
      return true;
    }
  }
  return false;
}

bool wait_readable(int fd, std::int64_t deadline) {
  pollfd waiting{.fd = fd, .events = POLLIN, .revents = 0};
  for (;;) {
    const std::int64_t left = deadline - steady_microseconds();
    if (left <= 0) return false;
    if (poll(&waiting, 1, static_cast<int>(left / 1'000 + 1)) > 0) return true;
  }
}

ExchangeResult read_reply(int fd, std::span<std::byte> reply, std::int64_t deadline) {
  std::size_t have = 0;
  while (have < reply.size()) {
    if (!wait_readable(fd, deadline)) return ExchangeResult::TIMED_OUT;
    const ssize_t count = recv(fd, reply.data() + have, reply.size() - have, MSG_DONTWAIT);
    if (count > 0) {
      have += static_cast<std::size_t>(count);
    } else if (count == 0 || (errno != EAGAIN && errno != EINTR)) {
      // A connection that is closed with the request unread ends in ECONNRESET.
      if (have == 0) return ExchangeResult::CLOSED;
      throw OperatorError("the daemon's reply broke off after " + std::to_string(have) + " bytes");
    }
  }
  return ExchangeResult::ANSWERED;
}

}  // namespace

bool daemon_runs() {
  const FdGuard fd(open_socket(SOCK_DGRAM, DATAGRAM_PATIENCE_US));
  if (connect_to(fd.get(), CONTROL_SOCKET_PATH)) return true;
  return errno == EACCES && is_in_table(CONTROL_SOCKET_PATH);
}

Answer ask_for_answer(std::int64_t deadline) {
  const FdGuard fd(open_socket(SOCK_STREAM, deadline - steady_microseconds()));
  if (!connect_login(fd.get())) return {};
  ucred peer{};
  socklen_t size = sizeof peer;
  (void)getsockopt(fd.get(), SOL_SOCKET, SO_PEERCRED, &peer, &size);
  (void)shutdown(fd.get(), SHUT_WR);  // an empty request, which the daemon ignores
  return {.in_time = wait_readable(fd.get(), deadline), .pid = peer.pid};
}

ExchangeResult exchange_record(std::span<const std::byte> request, std::span<std::byte> reply,
                               std::int64_t deadline) {
  const FdGuard fd(open_socket(SOCK_STREAM, deadline - steady_microseconds()));
  if (!connect_login(fd.get())) return ExchangeResult::TIMED_OUT;
  const ssize_t sent = send(fd.get(), request.data(), request.size(), MSG_NOSIGNAL);
  if (sent < 0 && (errno == EPIPE || errno == ECONNRESET)) return ExchangeResult::CLOSED;
  if (sent < 0 && errno == EAGAIN) return ExchangeResult::TIMED_OUT;
  if (sent < 0) fail(LOGIN_SOCKET_PATH, "cannot write to the daemon", errno);
  const ExchangeResult result = read_reply(fd.get(), reply, deadline);
  if (result == ExchangeResult::ANSWERED) (void)wait_readable(fd.get(), deadline);
  return result;
}

int open_control_socket() {
  const int fd = open_socket(SOCK_DGRAM, DATAGRAM_PATIENCE_US);
  if (connect_to(fd, CONTROL_SOCKET_PATH)) return fd;
  const int error = errno;
  close(fd);
  fail(CONTROL_SOCKET_PATH, "cannot send to the daemon", error);
}

void send_datagram(int fd, std::span<const std::byte> record) {
  if (send(fd, record.data(), record.size(), MSG_NOSIGNAL) >= 0) return;
  if (errno == EAGAIN) {
    throw OperatorError("the daemon is busy and takes no message: nothing sent");
  }
  fail(CONTROL_SOCKET_PATH, "cannot send to the daemon", errno);
}

}  // namespace webauth
