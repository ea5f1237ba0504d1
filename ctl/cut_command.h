// `webauthctl cut`: cuts off clients by address, name or MAC address, or all of them. The daemon
// knows addresses only and never answers, so the others are looked up in the published list, and
// the list shows what came of it.
#pragma once

#include <string>
#include <vector>

namespace webauth {

/// One of the four is given.
struct CutOptions {
  std::vector<std::string> addresses;
  std::string user;
  std::string mac;
  bool all = false;
};

/// Returns the exit status: STATUS_UNCONFIRMED when one who was listed is still listed after two
/// seconds without progress, else STATUS_NOBODY when an address, or nobody at all, was not listed.
/// An address is sent even so: the daemon may know it from a session that has expired. Throws
/// OperatorError before anything is sent when an argument does not fit.
int run_cut(const CutOptions& options);

}  // namespace webauth
