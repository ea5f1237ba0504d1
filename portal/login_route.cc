#include "portal/login_route.h"

#include <syslog.h>

#include <utility>

#include "common/clock.h"
#include "portal/account_check.h"
#include "portal/answers.h"
#include "portal/daemon_channel.h"
#include "portal/login_rules.h"
#include "portal/posted_form.h"

namespace webauth {
namespace {

constexpr std::int64_t BROWSER_PATIENCE =
    2'000'000;  // of a browser that waits for a login or a cut
constexpr std::int64_t RETRY_QUEUE_SECONDS = 10;

LoginRules rules_of(LoginMethod method) {
  if (method == LoginMethod::ACCOUNT) return LoginRules::ACCOUNT;
  // As the daemon asks: exactly.
  return std::string_view(setting_now("WEBAUTH_E_PRO")) == "imap" ? LoginRules::IMAP
                                                                  : LoginRules::POP3;
}

std::optional<Text> judge_texts(LoginMethod method, std::string_view user,
                                std::string_view password) {
  if (method == LoginMethod::ONE_KEY) return {};
  if (!may_be_name(rules_of(method), user)) return Text::BAD_NAME;
  if (!may_be_password(rules_of(method), password)) return Text::BAD_PASSWORD;
  return {};
}

std::optional<Response> judge_attempt(Portal& portal, const Viewer& viewer, LoginMethod method,
                                      std::string_view user) {
  const std::int64_t now = steady_microseconds();
  const std::int64_t wait =
      method == LoginMethod::ONE_KEY
          ? count_attempt(portal.one_key_attempts, ONE_KEY_RATE, viewer.ip, now)
          : count_attempt(portal.password_attempts, PASSWORD_RATE, viewer.ip, now);
  if (wait == 0) return {};
  log_refusal(portal.log, Cause::TOO_MANY_ATTEMPTS, viewer.ip, now);
  Response response =
      login_answer(portal, viewer, {.status = 429, .message = Text::TOO_MANY, .user = user});
  response.retry_after = (wait + 999'999) / 1'000'000;
  return response;
}

// A local account's password, which the daemon would not check.
std::optional<Text> judge_account(Portal& portal, const Viewer& viewer, std::string_view user,
                                  std::string_view password) {
  const AccountVerdict verdict = check_account(portal.account_file, user, password);
  const bool is_readable = verdict != AccountVerdict::UNREADABLE;
  if (!is_readable && portal.were_accounts_readable) {
    log_line(portal.log, LOG_ERR, std::string(portal.account_file) + " cannot be read");
  }
  portal.were_accounts_readable = is_readable;
  if (!is_readable) return Text::UNREACHABLE;
  if (verdict == AccountVerdict::RIGHT) return {};
  log_refusal(portal.log, Cause::WRONG_PASSWORD, viewer.ip, steady_microseconds());
  return Text::REFUSED;
}

// Gives the login a place, and its visitor the time to wait for it.
std::optional<Response> queue_login(Portal& portal, const Visit& visit, const Viewer& viewer,
                                    Login&& login) {
  if (!has_room(portal.desk.queue, login.mode)) {
    log_refusal(portal.log, Cause::QUEUE_FULL, visit.ip, steady_microseconds());
    Response response = login_answer(
        portal, viewer, {.status = 503, .message = Text::QUEUE_FULL, .user = login.user});
    response.retry_after = RETRY_QUEUE_SECONDS;
    return response;
  }
  portal.notes.erase(visit.ip);
  portal.waiting.push_back({.what = Waiting::LOGIN,
                            .id = visit.id,
                            .viewer = viewer,
                            .mac = login.mac,
                            .until = steady_microseconds() + BROWSER_PATIENCE,
                            .user = login.user});
  portal.desk.queue.push_back(std::move(login));
  return {};
}

std::optional<Response> log_in(Portal& portal, const Visit& visit, const PostedForm& posted) {
  const Viewer viewer = viewer_of(portal, visit);
  const ModeRow& mode = current_mode();
  const std::string_view user = posted.form.value("user");
  const std::string_view password = posted.form.value("password");
  const bool is_again = posted.token.use == TokenUse::AGAIN;
  if (mode.mode == AuthMode::ADVERT && !is_again &&
      posted.token.age < portal.branding.advert_seconds) {
    return login_answer(portal, viewer,
                        {.message = Text::TOO_EARLY, .token = posted.form.value("token")});
  }
  if (const auto problem = judge_texts(mode.method, user, password)) {
    log_refusal(portal.log, Cause::BAD_TEXT, visit.ip, steady_microseconds());
    return login_answer(portal, viewer, {.message = problem, .user = user});
  }
  if (auto refusal = judge_attempt(portal, viewer, mode.method, user)) return refusal;
  if (mode.method == LoginMethod::ACCOUNT) {
    if (const auto problem = judge_account(portal, viewer, user, password)) {
      return login_answer(portal, viewer, {.message = problem, .user = user});
    }
  }
  Login login{.ip = visit.ip,
              .mac = visitor_mac(current_lan(portal), portal.neighbours, visit.ip),
              .mode = mode.mode,
              .user{},
              .password{},
              .cut_first = is_again};
  if (mode.method != LoginMethod::ONE_KEY) login.user = user;
  if (mode.method == LoginMethod::MAIL) login.password = Secret(password);
  return queue_login(portal, visit, viewer, std::move(login));
}

std::optional<Response> log_out(Portal& portal, const Visit& visit) {
  const auto session = find_session(portal, visit.ip);
  if (!session) return front_page_redirect();
  const Viewer viewer = viewer_of(portal, visit);
  const Sending sending = send_cut(portal.desk.control, ip_text(visit.ip));
  if (sending == Sending::UNREACHABLE) {
    log_refusal(portal.log, Cause::UNREACHABLE, visit.ip, steady_microseconds());
    return session_answer(portal, viewer, *session, 503, Text::UNREACHABLE);
  }
  portal.waiting.push_back({.what = Waiting::LOGOUT,
                            .id = visit.id,
                            .viewer = viewer,
                            .mac = visitor_mac(current_lan(portal), portal.neighbours, visit.ip),
                            .until = steady_microseconds() + BROWSER_PATIENCE,
                            .user{},
                            .is_cut_sent = sending == Sending::SENT});
  return {};
}

bool is_one_key() { return current_mode().method == LoginMethod::ONE_KEY; }

}  // namespace

bool may_be_sent(const Login& login) {
  const ModeRow& mode = current_mode();
  if (mode.mode != login.mode) return false;
  return mode.method != LoginMethod::MAIL ||
         !judge_texts(mode.method, login.user, login.password.text());
}

std::optional<Response> serve_login(Portal& portal, const Visit& visit) {
  const BodyWiper wiper{visit.body};
  PostedForm posted = read_posted_form(portal, visit);
  if (posted.refusal) return posted.refusal;
  if (is_queued(portal.desk.queue, visit.ip)) return front_page_redirect();
  const bool is_again = posted.token.use == TokenUse::AGAIN;
  if (is_again && !is_one_key()) return log_out(portal, visit);
  if (!is_again && find_session(portal, visit.ip)) return front_page_redirect();
  return log_in(portal, visit, posted);
}

std::optional<Response> serve_logout(Portal& portal, const Visit& visit) {
  const BodyWiper wiper{visit.body};
  PostedForm posted = read_posted_form(portal, visit);
  if (posted.refusal) return posted.refusal;
  if (posted.token.use == TokenUse::PAGE || !is_one_key()) return log_out(portal, visit);
  if (is_queued(portal.desk.queue, visit.ip)) return front_page_redirect();
  return log_in(portal, visit, posted);
}

}  // namespace webauth
