#include "ctl/command_line.h"

#include <CLI/CLI.hpp>
#include <csignal>
#include <iostream>

#include "common/terminal_text.h"
#include "ctl/account_commands.h"
#include "ctl/check_command.h"
#include "ctl/cut_command.h"
#include "ctl/events_command.h"
#include "ctl/list_commands.h"
#include "ctl/login_command.h"
#include "ctl/operator_error.h"
#include "ctl/restore_command.h"
#include "ctl/start_check.h"
#include "ctl/status_command.h"
#include "ctl/users_command.h"

namespace webauth {
namespace {

constexpr int LONGEST_TIMEOUT = 3600;
constexpr char OLD_NAMES[] = "Old names";

constexpr char FOOTER[] =
    "Exit status: 0 done, 1 error, 3 the daemon is not running, 4 nobody is meant, 5 not "
    "confirmed;\n"
    "of login: 2 refused, 3 time used up, 4 not listed, 5 no reply. See webauthctl(8).";

struct Options {
  LoginOptions login;
  UsersOptions users;
  CutOptions cut;
  AccountOptions account;
  MacOptions mac;
  SaveOptions save;
  RestoreOptions restore;
  bool json = false;
  bool start = false;
  int status = STATUS_DONE;
};

CLI::Option* add_json(CLI::App* command, bool& json) {
  return command->add_flag("--json", json, "as JSON, on one line");
}

std::string demand_text(const std::string& text) { return text.empty() ? "is empty" : ""; }

void add_views(CLI::App& app, Options& options) {
  CLI::App* status = app.add_subcommand("status", "Is the daemon running, and what does it do.");
  add_json(status, options.json);
  status->callback([&] { options.status = run_status(options.json); });
  CLI::App* users = app.add_subcommand("users", "Print who is online.");
  CLI::Option* who =
      users->add_option("who", options.users.who, "only this address, MAC address or name");
  add_json(users, options.users.json);
  users->add_flag("--no-header{false}", options.users.heading, "without the line of headings");
  users->add_flag("--watch", options.users.watch,
                  "go on: draw anew on a terminal, else print what changes");
  users->callback([&options, who] {
    options.users.any = who->count() == 0;
    options.status = run_users(options.users);
  });
  CLI::App* events = app.add_subcommand("events", "Print who comes and goes, until Ctrl-C.");
  add_json(events, options.json)->description("each as JSON, one a line");
  events->callback([&] { options.status = run_events(options.json); });
  CLI::App* metrics = app.add_subcommand("metrics", "Print metrics for node-exporter.");
  metrics->callback([&] { options.status = run_metrics(); });
}

void add_login(CLI::App& app, Options& options) {
  LoginOptions& login = options.login;
  CLI::App* command = app.add_subcommand("login", "Ask the daemon to admit a client.");
  command->add_option("ip", login.ip, "the client's IPv4 address")->required();
  command->add_option("mac", login.mac, "the client's MAC address")->required();
  command->add_option("--user", login.user, "account name or e-mail address");
  command->add_flag("--password", login.password, "ask for a password, or read it (mode EMAIL)");
  command->add_option("--extra1", login.extra1, "text kept with the online record");
  command->add_option("--extra2", login.extra2, "text kept with the online record");
  command->add_option("--tag", login.tag, "number kept with the online record");
  command->add_option("--timeout", login.timeout, "seconds to wait for the answer")
      ->check(CLI::Range(1, LONGEST_TIMEOUT))
      ->capture_default_str();
  command->callback([&] { options.status = run_login(login); });
}

void add_cut(CLI::App& app, Options& options) {
  CLI::App* command = app.add_subcommand("cut", "Cut off clients, and see to it that they are.");
  CLI::Option_group* who = command->add_option_group("Who", "one of these");
  who->add_option("ip", options.cut.addresses, "the clients' IPv4 addresses");
  who->add_option("--user", options.cut.user, "everybody of this name")->check(demand_text);
  who->add_option("--mac", options.cut.mac, "everybody with this MAC address")->check(demand_text);
  who->add_flag("--all", options.cut.all, "everybody who is online");
  who->require_option(1);
  command->callback([&] { options.status = run_cut(options.cut); });
}

CLI::App* add_account_command(CLI::App& app, const char* name, const char* help, Options& options,
                              int (*run)(const AccountOptions&)) {
  CLI::App* command = app.add_subcommand(name, help);
  command->add_option("user", options.account.user, "account name")->required();
  command->callback([&options, run] { options.status = run(options.account); });
  return command;
}

void add_new_account_options(CLI::App* command, AccountOptions& account) {
  command
      ->add_option("--validity", account.validity,
                   "'*' for no limit, hours per day (0 to 24), or the last day YYYY-MM-DD")
      ->capture_default_str();
  command->add_option("--note", account.note, "free text");
  command->add_flag("--password", account.password, "ask for a password, or read it");
}

void add_accounts(CLI::App& app, Options& options) {
  AccountOptions& account = options.account;
  CLI::App* group = app.add_subcommand("account", "Local accounts.");
  CLI::App* add =
      add_account_command(*group, "add", "Add an account to the daemon.", options, run_add_account);
  add_new_account_options(add, account);
  CLI::Option* save = add->add_flag("--save", account.save, "and to the account file");
  add->add_flag("--no-password", account.no_password, "save it without a password")->needs(save);
  add->add_flag("--hash", account.hash, "save a hash of the password")->needs(save);
  CLI::App* remove = add_account_command(*group, "delete", "Delete an account and end its logins.",
                                         options, run_delete_account);
  remove->get_option("user")->check(demand_text);  // an unset variable; the old name takes it
  remove->add_flag("--save", account.save, "and from the account file");
  CLI::App* change = add_account_command(*group, "passwd", "Change a password in the account file.",
                                         options, run_account_password);
  change->add_flag("--hash", account.hash, "save a hash of it");
  change->add_flag("--save", account.save, "as it is done anyway");
  CLI::App* list = group->add_subcommand("list", "Print the account file, explained.");
  list->callback([&] { options.status = run_list_accounts(); });

  CLI::App* old_add =
      add_account_command(app, "add-account", "account add", options, run_add_account);
  add_new_account_options(old_add, account);
  old_add->group(OLD_NAMES);
  add_account_command(app, "delete-account", "account delete", options, run_delete_account)
      ->group(OLD_NAMES);
}

CLI::App* add_mac_command(CLI::App& app, const char* name, const char* help, Options& options,
                          int (*run)(const MacOptions&)) {
  CLI::App* command = app.add_subcommand(name, help);
  command->add_option("mac", options.mac.mac, "MAC address")->required();
  command->callback([&options, run] { options.status = run(options.mac); });
  return command;
}

void add_address_lists(CLI::App& app, Options& options) {
  CLI::App* mac = app.add_subcommand("mac", "MAC addresses that pass without login.");
  add_mac_command(*mac, "allow", "Let a MAC address pass.", options, run_allow_mac)
      ->add_flag("--save", options.mac.save, "and put it into the MAC file");
  add_mac_command(*mac, "remove", "Withdraw a MAC address.", options, run_remove_mac)
      ->add_flag("--save", options.mac.save, "and take it out of the MAC file");
  CLI::App* macs = mac->add_subcommand("list", "Print the MAC file, explained.");
  macs->callback([&] { options.status = run_list_macs(); });
  CLI::App* ip = app.add_subcommand("ip", "IPv4 addresses that pass without login.");
  CLI::App* ips = ip->add_subcommand("list", "Print the IP file, explained.");
  ips->callback([&] { options.status = run_list_ips(); });
  add_mac_command(app, "allow-mac", "mac allow", options, run_allow_mac)->group(OLD_NAMES);
  add_mac_command(app, "remove-mac", "mac remove", options, run_remove_mac)->group(OLD_NAMES);
}

void add_upkeep(CLI::App& app, Options& options) {
  CLI::App* check = app.add_subcommand("check", "Say what is wrong with settings and lists.");
  check->add_flag("--start", options.start, "only what keeps the daemon from starting");
  check->callback([&] { options.status = options.start ? run_start_check() : run_check(); });
  CLI::App* save = app.add_subcommand("save", "Put aside who is online, before a restart.");
  save->add_option("file", options.save.file, "file to write")->required()->check(demand_text);
  save->add_flag("--add", options.save.add, "keep who is in the file already");
  save->callback([&] { options.status = run_save(options.save); });
  CLI::App* restore = app.add_subcommand("restore", "Log them in again, after a restart.");
  restore->add_option("file", options.restore.file, "file to read")->required()->check(demand_text);
  restore->add_flag("--remove", options.restore.remove, "remove the file then");
  restore->add_option("--while", options.restore.daemon_pid, "give up when this process is gone")
      ->check(CLI::PositiveNumber);
  restore->add_option("--timeout", options.restore.timeout, "seconds to wait for the daemon")
      ->check(CLI::Range(1, LONGEST_TIMEOUT))
      ->capture_default_str();
  restore->callback([&] { options.status = run_restore(options.restore); });
}

// A group of commands without the command, and no command at all, print their help.
bool lacks_command(const CLI::App& app) {
  const auto chosen = app.get_subcommands();
  if (!chosen.empty()) return lacks_command(*chosen.front());
  const auto has_name = [](const CLI::App* command) { return !command->get_name().empty(); };
  return !app.get_subcommands(has_name).empty();
}

void parse(CLI::App& app, int argc, char** argv) {
  app.parse(argc, argv);
  if (lacks_command(app)) std::cout << app.help();
}

}  // namespace

int run_webauthctl(int argc, char** argv) {
  (void)std::signal(SIGPIPE, SIG_IGN);
  Options options;
  CLI::App app("Operates the web authentication daemon webauthd.", "webauthctl");
  app.require_subcommand(0, 1);  // so that a mistyped command is named in the message
  app.set_version_flag("--version", "webauthctl " WEBAUTHD_VERSION);
  app.footer(FOOTER);
  add_views(app, options);
  add_login(app, options);
  add_cut(app, options);
  add_accounts(app, options);
  add_address_lists(app, options);
  add_upkeep(app, options);
  try {
    parse(app, argc, argv);
  } catch (const CLI::Success& help) {
    options.status = app.exit(help);
  } catch (const CLI::ParseError& error) {
    std::cerr << "webauthctl: " << terminal_text(error.what()) << "; see webauthctl --help\n";
    return STATUS_ERROR;
  } catch (const OperatorError& error) {
    std::cout.flush();
    std::cerr << "webauthctl: " << error.what() << '\n';
    return error.status;
  } catch (const std::exception& error) {
    std::cerr << "webauthctl: " << error.what() << '\n';
    return STATUS_ERROR;
  }
  if (std::cout.flush()) return options.status;
  std::cerr << "webauthctl: cannot write the output\n";
  return options.status == STATUS_DONE ? STATUS_ERROR : options.status;
}

}  // namespace webauth
