#include "daemon/core/main_loop.h"

#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "common/clock.h"
#include "daemon/control/control_channel.h"
#include "daemon/core/start_up.h"
#include "daemon/kernel/transport.h"
#include "daemon/login/dispatch.h"
#include "daemon/users/kernel_events.h"

namespace webauth {
namespace {

constexpr std::int64_t PASS_MICROSECONDS = 1'000'000;
// How long a silent connection keeps the next one waiting, so that a front end that writes a
// little after connecting is not cut off.
constexpr std::int64_t REST_MICROSECONDS = 100'000;

// How long who waits at the listening socket goes on waiting.
std::int64_t rest_left(const LoopState& loop) {
  if (loop.rest_until == 0) return 0;
  return std::clamp<std::int64_t>(loop.rest_until - steady_microseconds(), 0, REST_MICROSECONDS);
}

// Waits, and leaves in `ready` what can be read. False when there is nothing to serve. The
// listening socket is left out while it is known to be ready and has to wait.
bool wait_for_input(const LoopState& loop, fd_set& ready) {
  const std::int64_t rest = loop.next_waits ? rest_left(loop) : 0;
  FD_ZERO(&ready);
  if (rest == 0) FD_SET(login_listen_fd, &ready);
  FD_SET(control_fd, &ready);
  FD_SET(netlink_fd, &ready);
  if (loop.held_connection > 0) FD_SET(loop.held_connection, &ready);
  const std::int64_t wait = rest > 0 ? rest : PASS_MICROSECONDS;
  timeval timeout{};
  timeout.tv_sec = static_cast<time_t>(wait / 1'000'000);
  timeout.tv_usec = static_cast<suseconds_t>(wait % 1'000'000);
  const int largest = std::max(loop.largest_socket, loop.held_connection);
  return select(largest + 1, &ready, nullptr, nullptr, &timeout) > 0;
}

void close_held_connection(LoopState& loop) {
  if (loop.held_connection > 0) close(loop.held_connection);
  loop.held_connection = 0;
  loop.rest_until = 0;
}

void serve_held_connection(LoopState& loop, const fd_set& ready, AccountTable& accounts,
                           OnlineUserTable& online_users) {
  if (loop.held_connection <= 0 || !FD_ISSET(loop.held_connection, &ready)) return;
  LoginRequest request{};
  if (receive_message(TRANSPORT_LOCAL, loop.held_connection, &request, sizeof request) != -1) {
    dispatch_login(loop.held_connection, request, accounts, online_users);
  }
  close_held_connection(loop);
}

bool is_want(int error) {
  return error == EMFILE || error == ENFILE || error == ENOBUFS || error == ENOMEM;
}

void accept_connection(LoopState& loop, const fd_set& ready) {
  if (FD_ISSET(login_listen_fd, &ready)) loop.next_waits = true;
  if (!loop.next_waits || rest_left(loop) > 0) return;
  loop.next_waits = false;
  close_held_connection(loop);  // it has been silent for its time, and its descriptor serves now
  const int connection = accept(login_listen_fd, nullptr, nullptr);
  if (connection >= FD_SETSIZE) {
    close(connection);  // no fd_set has room for it
  } else if (connection > 0) {
    loop.held_connection = connection;
    loop.rest_until = steady_microseconds() + REST_MICROSECONDS;
  } else if (is_want(errno)) {
    loop.next_waits = true;
    loop.rest_until = steady_microseconds() + REST_MICROSECONDS;
  }
}

void serve_control_datagram(const fd_set& ready, AccountTable& accounts,
                            OnlineUserTable& online_users) {
  if (!FD_ISSET(control_fd, &ready)) return;
  ControlMessage message{};
  if (receive_message(TRANSPORT_LOCAL, control_fd, &message, sizeof message) == -1) return;
  handle_control_message(message, accounts, online_users);
}

void serve_kernel_message(const fd_set& ready, AccountTable& accounts,
                          OnlineUserTable& online_users) {
  if (!FD_ISSET(netlink_fd, &ready)) return;
  KernelMessage message{};
  if (receive_message(TRANSPORT_NETLINK, netlink_fd, &message, sizeof message) == -1) return;
  handle_kernel_event(message, accounts, online_users);
}

}  // namespace

LoopState begin_main_loop() {
  LoopState loop;
  loop.largest_socket = std::max({login_listen_fd, netlink_fd, control_fd});
  return loop;
}

void serve_one_pass(LoopState& loop, AccountTable& accounts, OnlineUserTable& online_users) {
  fd_set ready;
  if (!wait_for_input(loop, ready)) return;
  serve_held_connection(loop, ready, accounts, online_users);
  accept_connection(loop, ready);
  serve_control_datagram(ready, accounts, online_users);
  serve_kernel_message(ready, accounts, online_users);
}

}  // namespace webauth
