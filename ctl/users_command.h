// `webauthctl users`: prints the published list, once or at each change.
#pragma once

namespace webauth {

struct UsersOptions {
  bool json = false;
  bool watch = false;
};

/// Returns the exit status. With `watch` it ends with a signal, or with 1 when nobody reads the
/// output or the directory is gone. Throws OperatorError when the list cannot be read.
int run_users(const UsersOptions& options);

}  // namespace webauth
