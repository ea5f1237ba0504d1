// `webauthctl login`: one request on the login channel, and its verdict.
#pragma once

#include <cstdint>
#include <string>

#include "daemon/login/login_record.h"

namespace webauth {

struct LoginOptions {
  std::string ip;
  std::string mac;
  std::string user;
  std::string password;
  std::string extra1;
  std::string extra2;
  std::uint32_t tag = 0;
  int timeout = 10;  ///< seconds for the whole exchange
};

/// Exit status of a login without an answer. The verdicts have 0 (accepted) and 2 to 4.
inline constexpr int STATUS_NO_ANSWER = 5;

/// Throws OperatorError when an option does not fit the record.
LoginRequest make_login_request(const LoginOptions& options);

/// Prints the verdict and returns the exit status that stands for it.
int run_login(const LoginOptions& options);

}  // namespace webauth
