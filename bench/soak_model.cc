#include "bench/soak_model.h"

#include <arpa/inet.h>

#include "bench/soak_effects.h"
#include "daemon/login/login_record.h"

namespace webauth {
namespace {

void one_key_login(Model& model, const Session& visitor, Effects& effects) {
  const auto known =
      first_with(model.sessions, [&](const Session& s) { return s.ip == visitor.ip; });
  if (known != model.sessions.end()) {
    known->online = true;
    known->login = visitor.login;
    known->mac = visitor.mac;
    expect_record(effects, "userti", "syslog.webauth_onuser " + known->user);
    expect_line(effects,
                "- -   - webident - -v ident.userident ident.webidentup  ident.useridentname + " +
                    known->user + " ");
    return;
  }
  const in_addr_t address = inet_addr(visitor.ip.c_str());
  if (address != INADDR_NONE) {
    effects.messages.push_back({expected_message(model, ADD_ENTRY, ENTRY_USER, address)});
    expect_reply(effects, LOGIN_ACCEPTED);
    model.sessions.push_back(visitor);
    publish(model);
  }
  expect_record(effects, "userti", "syslog.webauth_onuser ");
  expect_line(effects, client_of(visitor) + "  - webident - -v ident.onekeyident ident.webidentup");
}

void end_earlier_session(Model& model, const std::string& user, Effects& effects) {
  const auto earlier = first_with(model.sessions, [&](const Session& s) { return s.user == user; });
  if (earlier == model.sessions.end()) return;
  const in_addr_t address = inet_addr(earlier->ip.c_str());
  if (address != INADDR_NONE) {
    effects.messages.push_back({expected_message(model, REMOVE_ENTRY, ENTRY_USER, address)});
  }
  expect_record(effects, "userti", "syslog.webauth_downuser " + details_of(*earlier));
  expect_line(effects,
              client_of(*earlier) +
                  "  - webident - -v ident.userident  ident.webidentup ident.useridentname  + " +
                  earlier->user + " ");
  model.sessions.erase(earlier);
}

// Puts into the admission what the account may still use; false when that is nothing. A soak is
// shorter than an hour of allowance, so the two ends of `used` agree about that.
bool is_granted(Account& account, Span now, ExpectedMessage& admission) {
  const Date today = local_date(now.first);
  if (account.limit.type == Limit::DATE) {
    admission.message.recheck_interval = 600;
    return today <= account.limit.last_day;
  }
  if (account.limit.type == Limit::NONE) return true;
  if (local_date(account.logout.first) != today) account.used = {};
  if (account.limit.seconds <= account.used.first) return false;
  admission.message.time_allowance =
      static_cast<std::uint32_t>(account.limit.seconds - account.used.first);
  admission.allowance_slack = static_cast<std::uint32_t>(account.used.last - account.used.first);
  return true;
}

void account_login(Model& model, Session visitor, Effects& effects) {
  const auto at_address = [&](const Session& s) { return s.ip == visitor.ip; };
  if (first_with(model.sessions, at_address) != model.sessions.end()) {
    expect_reply(effects, LOGIN_ACCEPTED);
    return;
  }
  if (!model.multi_user) end_earlier_session(model, visitor.user, effects);
  const auto account =
      first_with(model.accounts, [&](const Account& a) { return a.user == visitor.user; });
  if (account == model.accounts.end()) return;
  const in_addr_t address = inet_addr(visitor.ip.c_str());
  ExpectedMessage admission{expected_message(model, ADD_ENTRY, ENTRY_USER, address)};
  if (!is_granted(*account, visitor.login, admission)) {
    expect_reply(effects, LOGIN_TIME_EXHAUSTED);
    return;
  }
  account->login = visitor.login;
  if (address != INADDR_NONE) {
    effects.messages.push_back(admission);
    expect_reply(effects, LOGIN_ACCEPTED);
    visitor.limit = account->limit;
    model.sessions.push_back(visitor);
    publish(model);
  }
  expect_record(effects, "userti", "syslog.webauth_onuser " + details_of(visitor));
  expect_line(effects,
              client_of(visitor) +
                  "  - webident - -v ident.userident  ident.webidentup ident.useridentname +  " +
                  visitor.user + " ");
}

void apply_login(Model& model, const std::string& bytes, Span now, Effects& effects) {
  effects.replies.emplace_back();
  const auto request = as_record<LoginRequest>(bytes);
  if (request.type != 2) return;
  Session visitor{ENTRY_USER, "", text_in(request.ip), text_in(request.mac)};
  visitor.login = now;
  if (!model.accounts_mode) return one_key_login(model, visitor, effects);
  visitor.user = text_in(request.user);
  account_login(model, visitor, effects);
}

}  // namespace

void apply_start(Model& model, const std::vector<std::string>& account_lines, Effects& effects) {
  expect_record(effects, "enable", "");
  for (const std::string& line : account_lines) {
    if (!model.accounts_mode) break;
    std::string field[4];
    std::size_t begin = 0;
    for (std::string& text : field) {
      const std::size_t end = line.find(' ', begin);
      text = line.substr(begin, end - begin);
      begin = end + 1;
    }
    Account account{.user = field[0], .limit = limit_of(field[3])};
    if (model.multi_user && account.limit.type == Limit::DAILY) continue;
    model.accounts.push_back(account);
    expect_record(effects, "userti", "syslog.webauth_user " + account.user);
  }
  effects.messages.push_back({expected_message(model, DAEMON_START, 0, 0)});
  effects.messages.push_back({expected_message(model, SET_TIMEOUTS, 7200, 1800)});
}

void apply(Model& model, const Event& event, Span now, Effects& effects) {
  switch (event.channel) {
    case Channel::LOGIN:
      return apply_login(model, event.bytes, now, effects);
    case Channel::KERNEL:
      return apply_kernel(model, event.bytes, now, effects);
    case Channel::CONTROL:
      return apply_control(model, event.bytes, now, effects);
  }
}

}  // namespace webauth
