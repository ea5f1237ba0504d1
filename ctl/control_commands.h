// webauthctl's commands on the control channel. The daemon never answers there: the commands print
// "sent", and the two whose effect the published list can show wait a moment for it and print
// "done" or "sent, not confirmed". Every function throws OperatorError before anything is sent when
// an argument does not fit, and when the daemon is not there.
#pragma once

#include <string>
#include <string_view>

#include "daemon/control/control_message.h"

namespace webauth {

struct AccountOptions {
  std::string user;
  std::string password;
  std::string validity = "*";
  std::string note;
};

/// "*", hours per day of 0 to 24, or a date YYYY-MM-DD of the calendar, into the channel's form: a
/// date gets its closing full stop.
std::string validity_field_text(std::string_view validity);

AddAccountMessage make_add_account(const AccountOptions& options);
DeleteAccountMessage make_delete_account(std::string_view user);
CutIpMessage make_cut_ip(std::string_view ip);

void run_add_account(const AccountOptions& options);
void run_delete_account(const std::string& user);
void run_cut(const std::string& ip);
void run_allow_mac(const std::string& mac);
void run_remove_mac(const std::string& mac);

}  // namespace webauth
