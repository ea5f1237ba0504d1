// `webauthctl mac allow, remove` and their old names: MAC addresses that pass without login. And
// what stands in the files: `account list`, `mac list`, `ip list`. Every function returns the exit
// status, and throws OperatorError before anything is sent or written when an argument does not
// fit, or a file cannot be read.
#pragma once

#include <string>

namespace webauth {

struct MacOptions {
  std::string mac;
  bool save = false;  ///< into the MAC file too, which the daemon reads at its start
};

/// What the running daemon hears is never confirmed; with `save` one that is not running is not
/// minded.
int run_allow_mac(const MacOptions& options);
int run_remove_mac(const MacOptions& options);

/// Print the lines of a file, and what the daemon makes of each.
int run_list_accounts();
int run_list_macs();
int run_list_ips();

}  // namespace webauth
