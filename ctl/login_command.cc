#include "ctl/login_command.h"

#include <iostream>
#include <span>

#include "common/clock.h"
#include "ctl/daemon_socket.h"
#include "ctl/operator_error.h"
#include "ctl/password.h"
#include "ctl/record_field.h"
#include "ctl/user_list.h"
#include "daemon/login/login_record.h"

namespace webauth {
namespace {

struct Verdict {
  LoginResult result;
  int status;
  const char* words;
};

constexpr Verdict VERDICTS[] = {
    {LOGIN_ACCEPTED, 0, "accepted"},
    {LOGIN_REFUSED, 2, "refused"},
    {LOGIN_TIME_EXHAUSTED, 3, "time used up"},
    {LOGIN_NOT_LISTED, 4, "not listed"},
};

LoginRequest make_login_request(const LoginOptions& options) {
  LoginRequest request{};
  request.type = LOGIN_REQUEST;
  fill_ip(request.ip, options.ip);
  fill_mac(request.mac, options.mac);
  fill_plain_field(request.user, "user name", options.user);
  fill_plain_field(request.extra1, "extra1", options.extra1);
  fill_plain_field(request.extra2, "extra2", options.extra2);
  request.tag = options.tag;
  if (options.password) {
    fill_plain_field(request.password, "password", read_password(), Shown::NO);
  }
  return request;
}

int print_verdict(std::uint32_t result) {
  for (const Verdict& verdict : VERDICTS) {
    if (verdict.result != result) continue;
    std::cout << verdict.words << '\n';
    return verdict.status;
  }
  throw OperatorError("the daemon's reply has an unknown verdict: " + std::to_string(result));
}

// The daemon closes the connection after it has published, so the list is that of this login.
int print_no_reply(const LoginOptions& options, bool closed) {
  std::cout << "no reply";
  if (!closed) std::cout << " within " << options.timeout << " s";
  if (is_listed(read_user_list(), options.ip)) {
    std::cout << "; " << options.ip << " is online\n";
  } else {
    std::cout << "; not online"
              << (closed ? " (unknown account, or refused without a word)\n" : "\n");
  }
  return STATUS_UNCONFIRMED;
}

}  // namespace

int run_login(const LoginOptions& options) {
  const LoginRequest request = make_login_request(options);
  LoginReply reply{};
  const std::int64_t deadline = steady_microseconds() + std::int64_t{options.timeout} * 1'000'000;
  try {
    const ExchangeResult result =
        exchange_record(std::as_bytes(std::span(&request, 1)),
                        std::as_writable_bytes(std::span(&reply, 1)), deadline);
    if (result == ExchangeResult::ANSWERED) return print_verdict(reply.result);
    return print_no_reply(options, result == ExchangeResult::CLOSED);
  } catch (const OperatorError& error) {
    throw OperatorError(error.what());  // 3 is a verdict here
  }
}

}  // namespace webauth
