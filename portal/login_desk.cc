#include "portal/login_desk.h"

#include <openssl/crypto.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>
#include <utility>

#include "common/text_field.h"
#include "portal/daemon_channel.h"

namespace webauth {
namespace {

using Phase = LoginDesk::Phase;

constexpr std::int64_t DAEMON_PATIENCE = 60'000'000;  // with the daemon, for each request
constexpr std::int64_t CUT_PATIENCE = 200'000;  // until it has read a cut; it may be in a login
constexpr std::int64_t CUT_LOOK = 1'000;
constexpr std::int64_t RETRY = 20'000;  // when the daemon has no room

void close_connection(LoginDesk& desk) {
  if (desk.connection >= 0) close(desk.connection);
  desk.connection = -1;
}

void finish(LoginDesk& desk, LoginOutcome outcome) {
  close_connection(desk);
  const Login login = std::move(desk.queue.front());
  desk.queue.pop_front();
  desk.phase = Phase::IDLE;
  desk.hooks.finished(login, outcome);
}

void begin_try(LoginDesk& desk, bool cut, std::int64_t now) {
  ++desk.tries;
  desk.phase = cut ? Phase::CUTTING : Phase::CONNECTING;
  desk.give_up_at = now + DAEMON_PATIENCE;
  desk.next_step_at = now;
}

void begin_login(LoginDesk& desk, std::int64_t now) {
  const Login& login = desk.queue.front();
  if (!desk.hooks.is_still_good(login)) return finish(desk, LoginOutcome::NOT_ADMITTED);
  desk.tries = 0;
  begin_try(desk, login.cut_first || desk.hooks.is_handed_on(login), now);
}

void end_try(LoginDesk& desk, const ExchangeEnd& end, std::int64_t now) {
  close_connection(desk);
  const Login& login = desk.queue.front();
  const LoginVerdict verdict = judge_login(end, desk.hooks.is_published(login), desk.tries);
  if (verdict.try_again) return begin_try(desk, true, now);
  finish(desk, verdict.outcome);
}

void cut(LoginDesk& desk, std::int64_t now) {
  switch (send_cut(desk.control, ip_text(desk.queue.front().ip))) {
    case Sending::SENT:
      desk.phase = Phase::CUT_SENT;
      desk.wait_for_cut_until = now + CUT_PATIENCE;
      return;
    case Sending::BUSY:
      desk.next_step_at = now + RETRY;
      return;
    case Sending::UNREACHABLE:
      return finish(desk, LoginOutcome::UNREACHABLE);
  }
}

void await_cut(LoginDesk& desk, std::int64_t now) {
  if (are_cuts_read(desk.control) || desk.wait_for_cut_until <= now) {
    desk.phase = Phase::CONNECTING;
  } else {
    desk.next_step_at = now + CUT_LOOK;
  }
}

LoginConnection send_login_of(const Login& login) {
  LoginRequest request{};
  request.type = LOGIN_REQUEST;
  // Both fit: the rules were asked. A password of 16 bytes fills its field without a NUL.
  (void)put_field(request.user, login.user);
  login.password.text().copy(request.password, sizeof request.password);
  (void)put_field(request.ip, ip_text(login.ip));
  (void)put_field(request.mac, mac_text(login.mac));
  const LoginConnection made = send_login(request);
  OPENSSL_cleanse(&request, sizeof request);
  return made;
}

void connect_login(LoginDesk& desk, std::int64_t now) {
  const LoginConnection made = send_login_of(desk.queue.front());
  desk.connection = made.fd;
  if (made.sending == Sending::BUSY) {
    desk.next_step_at = now + RETRY;
    return;
  }
  // Told of the end alone: a reply that comes before it would only wake us for nothing.
  epoll_event event{.events = EPOLLRDHUP, .data{.u64 = desk.tag}};
  if (made.sending != Sending::SENT ||
      epoll_ctl(desk.epoll, EPOLL_CTL_ADD, desk.connection, &event) != 0) {
    return finish(desk, LoginOutcome::UNREACHABLE);
  }
  desk.phase = Phase::WAITING;
  desk.reply = {};
  desk.replied = 0;
}

void take_reply(LoginDesk& desk, const char* bytes, std::size_t count) {
  const std::size_t fits = std::min(count, sizeof desk.reply - desk.replied);
  std::memcpy(reinterpret_cast<char*>(&desk.reply) + desk.replied, bytes, fits);
  desk.replied += fits;
}

// Whether the daemon has closed, or the connection has failed: then this try is over.
bool read_reply(LoginDesk& desk, std::int64_t now) {
  constexpr int MOST_READS = 4;  // in one go; who sends on is read again
  char bytes[sizeof desk.reply];
  ssize_t count = 1;
  for (int i = 0; i < MOST_READS && count > 0; ++i) {
    count = recv(desk.connection, bytes, sizeof bytes, 0);
    if (count > 0) take_reply(desk, bytes, static_cast<std::size_t>(count));
  }
  if (count > 0 || (count < 0 && (errno == EAGAIN || errno == EINTR))) return false;
  // A daemon that goes without having read the request makes it fail.
  const auto how = count == 0 ? ExchangeEnd::CLOSED : ExchangeEnd::FAILED;
  const bool has_result = desk.replied >= sizeof desk.reply.result;
  end_try(desk, {.how = how, .result = has_result ? desk.reply.result : 0}, now);
  return true;
}

// One step; false when there is none to take now.
bool step(LoginDesk& desk, std::int64_t now) {
  if (desk.phase == Phase::IDLE) {
    if (desk.queue.empty()) return false;
    begin_login(desk, now);
    return true;
  }
  if (desk.phase == Phase::WAITING && read_reply(desk, now)) return true;
  if (desk.give_up_at <= now) {
    end_try(desk, {.how = ExchangeEnd::TIMED_OUT}, now);
    return true;
  }
  if (desk.phase == Phase::WAITING || desk.next_step_at > now) return false;
  if (desk.phase == Phase::CUTTING) {
    cut(desk, now);
  } else if (desk.phase == Phase::CUT_SENT) {
    await_cut(desk, now);
  } else {
    connect_login(desk, now);
  }
  return true;
}

}  // namespace

void advance(LoginDesk& desk, std::int64_t now) {
  while (step(desk, now)) {
  }
}

std::int64_t next_deadline(const LoginDesk& desk) {
  if (desk.phase == Phase::IDLE) return std::numeric_limits<std::int64_t>::max();
  if (desk.phase == Phase::WAITING) return desk.give_up_at;
  return std::min(desk.next_step_at, desk.give_up_at);
}

}  // namespace webauth
