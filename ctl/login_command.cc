#include "ctl/login_command.h"

#include <iostream>
#include <span>

#include "common/clock.h"
#include "ctl/daemon_socket.h"
#include "ctl/operator_error.h"
#include "ctl/record_field.h"

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

int print_verdict(std::uint32_t result) {
  for (const Verdict& verdict : VERDICTS) {
    if (verdict.result != result) continue;
    std::cout << verdict.words << '\n';
    return verdict.status;
  }
  throw OperatorError("the daemon's reply has an unknown verdict: " + std::to_string(result));
}

}  // namespace

LoginRequest make_login_request(const LoginOptions& options) {
  LoginRequest request{};
  request.type = LOGIN_REQUEST;
  fill_ip(request.ip, options.ip);
  fill_mac(request.mac, options.mac);
  fill_plain_field(request.user, "user name", options.user);
  fill_plain_field(request.password, "password", options.password);
  fill_plain_field(request.extra1, "extra1", options.extra1);
  fill_plain_field(request.extra2, "extra2", options.extra2);
  request.tag = options.tag;
  return request;
}

int run_login(const LoginOptions& options) {
  const LoginRequest request = make_login_request(options);
  LoginReply reply{};
  const std::int64_t deadline = steady_microseconds() + std::int64_t{options.timeout} * 1'000'000;
  const ExchangeResult result =
      exchange_record(LOGIN_SOCKET_PATH, std::as_bytes(std::span(&request, 1)),
                      std::as_writable_bytes(std::span(&reply, 1)), deadline);
  if (result == ExchangeResult::ANSWERED) return print_verdict(reply.result);
  const bool closed = result == ExchangeResult::CLOSED;
  std::cout << "no answer (" << (closed ? "connection closed without a reply" : "time-out")
            << ")\n";
  return STATUS_NO_ANSWER;
}

}  // namespace webauth
