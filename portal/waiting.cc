#include "portal/waiting.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "common/clock.h"
#include "portal/answers.h"
#include "portal/daemon_channel.h"
#include "portal/login_route.h"

namespace webauth {
namespace {

constexpr std::int64_t LIST_LOOK = 5'000;          // while somebody waits for a cut
constexpr std::int64_t CUT_PATIENCE = 60'000'000;  // where nobody waits for it

void log_outcome(Portal& portal, const Login& login, LoginOutcome outcome) {
  const std::int64_t now = steady_microseconds();
  switch (outcome) {
    case LoginOutcome::ADMITTED:
      return;
    case LoginOutcome::REFUSED:
      return log_refusal(portal.log, Cause::DAEMON_REFUSED, login.ip, now);
    case LoginOutcome::TIME_USED_UP:
      return log_refusal(portal.log, Cause::TIME_USED_UP, login.ip, now);
    case LoginOutcome::NOT_LISTED:
      return log_refusal(portal.log, Cause::NOT_LISTED, login.ip, now);
    case LoginOutcome::NOT_ADMITTED:
      return log_refusal(portal.log, Cause::NOT_ADMITTED, login.ip, now);
    case LoginOutcome::UNREACHABLE:
      return log_refusal(portal.log, Cause::UNREACHABLE, login.ip, now);
  }
}

// Answers who waits for this login. False when nobody does any more.
bool answer_login(Portal& portal, const Login& login, LoginOutcome outcome) {
  const auto found =
      std::find_if(portal.waiting.begin(), portal.waiting.end(), [&](const Waiting& waiting) {
        return waiting.what == Waiting::LOGIN && waiting.viewer.ip == login.ip;
      });
  if (found == portal.waiting.end()) return false;
  const Waiting waiting = std::move(*found);
  portal.waiting.erase(found);
  return answer_later(portal.server, waiting.id,
                      outcome_answer(portal, waiting.viewer, outcome, waiting.user));
}

// An e-mail login that was taken for a local account's, whose password nobody has checked: the
// daemon has kept the mode that it was started with.
bool is_unchecked(Portal& portal, const Login& login) {
  if (login.mode != AuthMode::EMAIL) return false;
  const auto session = find_session(portal, login.ip, login.mac);
  return session && session->mode == AuthMode::USERS;
}

// Tried until the address has gone from the list: a browser's log out, without a browser.
void cut_off(Portal& portal, const Login& login) {
  log_refusal(portal.log, Cause::OTHER_MODE, login.ip, steady_microseconds());
  portal.waiting.push_back({.what = Waiting::LOGOUT,
                            .id = NO_CONNECTION,
                            .viewer{.ip = login.ip, .language = 0, .is_tls = false},
                            .mac = login.mac,
                            .until = steady_microseconds() + CUT_PATIENCE,
                            .user{}});
}

void finish_login(Portal& portal, const Login& login, LoginOutcome outcome) {
  if (outcome == LoginOutcome::ADMITTED && is_unchecked(portal, login)) {
    cut_off(portal, login);
    outcome = LoginOutcome::UNREACHABLE;
  }
  log_outcome(portal, login, outcome);
  const bool is_told = answer_login(portal, login, outcome);
  if (!is_told && outcome != LoginOutcome::ADMITTED) note_of(portal, login.ip).late = outcome;
}

// The answer to one who waits for a cut; nothing while there is none.
std::optional<Response> cut_answer(Portal& portal, Waiting& waiting, std::int64_t now) {
  if (!waiting.is_cut_sent) {
    waiting.is_cut_sent =
        send_cut(portal.desk.control, ip_text(waiting.viewer.ip)) == Sending::SENT;
  }
  const auto session = find_session(portal, waiting.viewer.ip, waiting.mac);
  if (!session) return front_page_redirect();
  if (waiting.until > now) return {};
  return session_answer(portal, waiting.viewer, *session, 200, Text::STILL_ONLINE);
}

std::optional<Response> answer_of(Portal& portal, Waiting& waiting, std::int64_t now) {
  if (waiting.what == Waiting::LOGOUT) return cut_answer(portal, waiting, now);
  if (waiting.until > now) return {};
  return waiting_answer(portal, waiting.viewer);
}

}  // namespace

DeskHooks make_desk_hooks(Portal& portal) {
  return {.is_still_good = may_be_sent,
          .is_handed_on =
              [&portal](const Login& login) { return is_handed_on(portal, login.ip, login.mac); },
          .is_published =
              [&portal](const Login& login) {
                portal.list.is_fresh = false;  // published in this very pass, perhaps
                return find_session(portal, login.ip, login.mac).has_value();
              },
          .finished = [&portal](const Login& login,
                                LoginOutcome outcome) { finish_login(portal, login, outcome); }};
}

std::int64_t settle_waiting(Portal& portal, std::int64_t now) {
  std::int64_t next = std::numeric_limits<std::int64_t>::max();
  std::erase_if(portal.waiting, [&](Waiting& waiting) {
    if (const auto answer = answer_of(portal, waiting, now)) {
      (void)answer_later(portal.server, waiting.id, *answer);  // who has gone needs none
      return true;
    }
    const bool looks = waiting.what == Waiting::LOGOUT;
    next = std::min(next, looks ? std::min(waiting.until, now + LIST_LOOK) : waiting.until);
    return false;
  });
  return next;
}

}  // namespace webauth
