// `webauthctl login`: one request on the login channel, and its verdict.
#pragma once

#include <cstdint>
#include <string>

namespace webauth {

struct LoginOptions {
  std::string ip;
  std::string mac;
  std::string user;
  std::string extra1;
  std::string extra2;
  std::uint32_t tag = 0;
  bool password = false;  ///< asks for one
  int timeout = 10;       ///< seconds for the whole exchange
};

/// Prints the verdict and returns the exit status that stands for it: 0 to 4 as the daemon's reply,
/// STATUS_UNCONFIRMED without one; then the published list is asked. Throws OperatorError, always
/// with STATUS_ERROR, when an option does not fit the record or the daemon is not there.
int run_login(const LoginOptions& options);

}  // namespace webauth
