#include "gate/command_line.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <string>

#include "gate/enforcer.h"
#include "gate/gate_loop.h"

namespace webauth {
namespace {

constexpr char DESCRIPTION[] =
    "Takes the place of the web-auth kernel module. With --enforce it holds back the clients of an "
    "interface with nftables and lets through those that the daemon names. Without, it keeps the "
    "tables that the daemon describes, prints every message, and sends events on command; commands "
    "on standard input: online KIND IP MAC (KIND mac, ip, user or a number), offline IP, "
    "check-expiry IP, list.";

struct Options {
  bool enforce = false;
  bool remove = false;
  bool exit_on_eof = false;
  bool no_ipv6 = false;
  std::string wan;  // taken, and not needed
  EnforceOptions enforcing;
};

void add_options(CLI::App& app, Options& options) {
  EnforceOptions& enforcing = options.enforcing;
  CLI::Option* enforce = app.add_flag("--enforce", options.enforce, "hold back for real");
  app.add_option("--lan", enforcing.rules.lan, "the interface behind which the clients are")
      ->needs(enforce)
      ->check([](const std::string& name) {
        return is_interface_name(name) ? "" : "is not the name of an interface";
      });
  app.add_option("--portal-port", enforcing.rules.portal_port,
                 "local TCP port to which port 80 of held-back clients is redirected")
      ->needs(enforce)
      ->check(CLI::Range(1, 65535))
      ->capture_default_str();
  app.add_option("--portal-tls-port", enforcing.rules.portal_tls_port,
                 "one more local TCP port that is open to them")
      ->needs(enforce)
      ->check(CLI::Range(1, 65535))
      ->capture_default_str();
  app.add_option("--wan", options.wan, "ignored: everything but the LAN is outside")
      ->needs(enforce);
  app.add_flag("--no-ipv6", options.no_ipv6, "the IPv6 of a user does not pass with it")
      ->needs(enforce);
  app.add_flag("--verbose", enforcing.verbose, "print every message and event")->needs(enforce);
  CLI::Option* remove =
      app.add_flag("--remove", options.remove, "take every rule and all state away")
          ->excludes(enforce);
  app.add_option("--state-dir", enforcing.state_folder, "what must outlive a kill")
      ->capture_default_str();
  app.add_flag("--exit-on-eof", options.exit_on_eof,
               "end when standard input ends, instead of serving on")
      ->excludes(enforce)
      ->excludes(remove);
}

int run(Options& options) {
  options.enforcing.rules.ipv6 = !options.no_ipv6;
  if (options.remove) {
    remove_enforcement(options.enforcing.state_folder);
    return 0;
  }
  if (!options.enforce) return run_gate(options.exit_on_eof);
  if (options.enforcing.rules.lan.empty()) throw std::runtime_error("--enforce needs --lan IFACE");
  return run_enforcer(options.enforcing);
}

}  // namespace

int run_webauth_gate(int argc, char** argv) {
  CLI::App app(DESCRIPTION);
  Options options;
  add_options(app, options);
  try {
    app.parse(argc, argv);
    return run(options);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : 1;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "webauth-gate: %s\n", error.what());
    return 1;
  }
}

}  // namespace webauth
