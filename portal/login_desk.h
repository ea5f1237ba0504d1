// Takes the logins of the queue to the daemon, one after the other: the cut that must come before,
// the request, the wait for the daemon's close, one more try. Nothing here waits; times are
// microseconds of the steady clock.
#pragma once

#include <cstdint>
#include <functional>

#include "daemon/login/login_record.h"
#include "portal/login_queue.h"

namespace webauth {

struct DeskHooks {
  /// Whether what the login was checked against still holds.
  std::function<bool(const Login&)> is_still_good;
  /// Whether the address is online with another MAC address.
  std::function<bool(const Login&)> is_handed_on;
  std::function<bool(const Login&)> is_published;
  std::function<void(const Login&, LoginOutcome)> finished;
};

struct LoginDesk {
  enum class Phase { IDLE, CUTTING, CUT_SENT, CONNECTING, WAITING };

  DeskHooks hooks;
  LoginQueue queue;
  int epoll = -1;
  std::uint64_t tag = 0;  ///< at epoll, of the connection under way
  int control = -1;       ///< for cuts
  Phase phase = Phase::IDLE;
  int connection = -1;
  int tries = 0;
  std::int64_t give_up_at = 0;
  std::int64_t next_step_at = 0;  ///< while not WAITING
  std::int64_t wait_for_cut_until = 0;
  LoginReply reply{};
  std::size_t replied = 0;
};

/// Goes on as far as it can. To be called when a login was queued, when epoll tells the desk's tag,
/// and at next_deadline.
void advance(LoginDesk& desk, std::int64_t now);

std::int64_t next_deadline(const LoginDesk& desk);

}  // namespace webauth
