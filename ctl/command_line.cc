#include "ctl/command_line.h"

#include <CLI/CLI.hpp>
#include <csignal>
#include <iostream>

#include "ctl/control_commands.h"
#include "ctl/login_command.h"
#include "ctl/operator_error.h"
#include "ctl/users_command.h"

namespace webauth {
namespace {

constexpr int STATUS_ERROR = 1;
constexpr int LONGEST_TIMEOUT = 3600;

struct Options {
  LoginOptions login;
  UsersOptions users;
  AccountOptions account;
  std::string user;
  std::string ip;
  std::string mac;
};

void add_login(CLI::App& app, LoginOptions& options, int& status) {
  CLI::App* command = app.add_subcommand(
      "login",
      "Ask the daemon to admit a client. Exit status: 0 accepted, 2 refused, 3 time used "
      "up, 4 not listed, 5 no answer, 1 any error.");
  command->add_option("ip", options.ip, "the client's IPv4 address")->required();
  command->add_option("mac", options.mac, "the client's MAC address")->required();
  command->add_option("--user", options.user, "account name or e-mail address");
  command->add_option("--password", options.password, "password (mode EMAIL)");
  command->add_option("--extra1", options.extra1, "text kept with the online record");
  command->add_option("--extra2", options.extra2, "text kept with the online record");
  command->add_option("--tag", options.tag, "number kept with the online record");
  command->add_option("--timeout", options.timeout, "seconds to wait for the answer")
      ->check(CLI::Range(1, LONGEST_TIMEOUT))
      ->capture_default_str();
  command->callback([&] { status = run_login(options); });
}

void add_users(CLI::App& app, UsersOptions& options, int& status) {
  CLI::App* command = app.add_subcommand("users", "Print the users that are online.");
  command->add_flag("--json", options.json, "as a JSON array on one line");
  command->add_flag("--watch", options.watch, "print again at each change");
  command->callback([&] { status = run_users(options); });
}

void add_accounts(CLI::App& app, Options& options) {
  CLI::App* add = app.add_subcommand("add-account", "Add a local account.");
  add->add_option("user", options.account.user, "account name")->required();
  add->add_option("--password", options.account.password, "carried, not checked by the daemon");
  add->add_option("--validity", options.account.validity,
                  "'*' for no limit, hours per day (0 to 24), or the last day YYYY-MM-DD")
      ->capture_default_str();
  add->add_option("--note", options.account.note, "free text");
  add->callback([&] { run_add_account(options.account); });
  CLI::App* remove =
      app.add_subcommand("delete-account", "Delete a local account and end its logins.");
  remove->add_option("user", options.user, "account name")->required();
  remove->callback([&] { run_delete_account(options.user); });
}

void add_addresses(CLI::App& app, Options& options) {
  CLI::App* cut = app.add_subcommand("cut", "Cut off the client at an address.");
  cut->add_option("ip", options.ip, "the client's IPv4 address")->required();
  cut->callback([&] { run_cut(options.ip); });
  CLI::App* allow = app.add_subcommand("allow-mac", "Let a MAC address pass without login.");
  allow->add_option("mac", options.mac, "MAC address")->required();
  allow->callback([&] { run_allow_mac(options.mac); });
  CLI::App* remove = app.add_subcommand("remove-mac", "Withdraw a MAC address.");
  remove->add_option("mac", options.mac, "MAC address")->required();
  remove->callback([&] { run_remove_mac(options.mac); });
}

}  // namespace

int run_webauthctl(int argc, char** argv) {
  (void)std::signal(SIGPIPE, SIG_IGN);
  int status = 0;
  Options options;
  CLI::App app("Operates the web authentication daemon webauthd.");
  app.require_subcommand(0, 1);  // so that a mistyped command is named in the message
  add_login(app, options.login, status);
  add_users(app, options.users, status);
  add_accounts(app, options);
  add_addresses(app, options);
  try {
    app.parse(argc, argv);
    if (app.get_subcommands().empty()) throw OperatorError("no command; see webauthctl --help");
  } catch (const CLI::ParseError& error) {
    status = app.exit(error) == 0 ? 0 : STATUS_ERROR;
  } catch (const std::exception& error) {
    std::cerr << "webauthctl: " << error.what() << '\n';
    return STATUS_ERROR;
  }
  if (!std::cout.flush()) {
    std::cerr << "webauthctl: cannot write the output\n";
    if (status == 0) status = STATUS_ERROR;
  }
  return status;
}

}  // namespace webauth
