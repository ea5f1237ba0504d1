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
#include "common/unix_address.h"
#include "ctl/operator_error.h"

namespace webauth {
namespace {

constexpr std::int64_t DATAGRAM_PATIENCE_US = 10'000'000;

[[noreturn]] void fail(const char* path, const char* what, int error) {
  const std::string where = std::string(" (") + path + ": " + std::strerror(error) + ")";
  if (error == ENOENT || error == ECONNREFUSED) {
    throw OperatorError("the daemon is not running" + where);
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

ExchangeResult exchange_record(const char* path, std::span<const std::byte> request,
                               std::span<std::byte> reply, std::int64_t deadline) {
  const sockaddr_un address = unix_address(path);
  const FdGuard fd(open_socket(SOCK_STREAM, deadline - steady_microseconds()));
  if (connect(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    if (errno == EAGAIN) return ExchangeResult::TIMED_OUT;  // the daemon accepts nobody
    fail(path, "cannot connect to the daemon", errno);
  }
  const ssize_t sent = send(fd.get(), request.data(), request.size(), MSG_NOSIGNAL);
  if (sent < 0 && (errno == EPIPE || errno == ECONNRESET)) return ExchangeResult::CLOSED;
  if (sent < 0 && errno == EAGAIN) return ExchangeResult::TIMED_OUT;
  if (sent < 0) fail(path, "cannot write to the daemon", errno);
  return read_reply(fd.get(), reply, deadline);
}

void send_datagram(const char* path, std::span<const std::byte> record) {
  const sockaddr_un address = unix_address(path);
  const FdGuard fd(open_socket(SOCK_DGRAM, DATAGRAM_PATIENCE_US));
  const ssize_t sent = sendto(fd.get(), record.data(), record.size(), MSG_NOSIGNAL,
                              reinterpret_cast<const sockaddr*>(&address), sizeof address);
  if (sent < 0 && errno == EAGAIN) {
    throw OperatorError("the daemon is busy and takes no message: nothing sent");
  }
  if (sent < 0) fail(path, "cannot send to the daemon", errno);
}

}  // namespace webauth
