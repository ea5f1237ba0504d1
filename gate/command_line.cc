#include "gate/command_line.h"

#include <getopt.h>

#include <cstdio>
#include <optional>
#include <stdexcept>
#include <string>

#include "common/port_number.h"
#include "gate/enforcer.h"
#include "gate/gate_loop.h"

namespace webauth {
namespace {

constexpr char USAGE[] =
    "usage: webauth-gate --enforce --lan IFACE [--portal-port N] [--portal-tls-port N]\n"
    "                    [--no-ipv6] [--state-dir DIR] [--verbose]\n"
    "       webauth-gate --remove [--state-dir DIR]\n"
    "       webauth-gate [--exit-on-eof]\n"
    "Takes the place of the web-auth kernel module.\n"
    "  --enforce            hold back the clients of an interface with nftables, and let through\n"
    "                       those that the daemon names\n"
    "  --lan IFACE          the interface behind which the clients are\n"
    "  --wan IFACE          ignored: everything but the LAN is outside\n"
    "  --portal-port N      local TCP port to which port 80 of held-back clients is redirected; "
    "8080\n"
    "  --portal-tls-port N  one more local TCP port that is open to them; 8443\n"
    "  --no-ipv6            the IPv6 of a user does not pass with it\n"
    "  --verbose            print every message and event\n"
    "  --remove             take every rule and all state away\n"
    "  --state-dir DIR      what must outlive a kill; /run/webauth-gate\n"
    "Without --enforce or --remove it keeps the tables that the daemon describes, prints every\n"
    "message, and takes commands on standard input: online KIND IP MAC (KIND mac, ip, user or a\n"
    "number), offline IP, check-expiry IP, list.\n"
    "  --exit-on-eof        end when standard input ends, instead of serving on\n";

// By hand, since a library for it would be larger than the rest of the program.
constexpr option OPTIONS[] = {{"enforce", no_argument, nullptr, 'e'},
                              {"lan", required_argument, nullptr, 'l'},
                              {"wan", required_argument, nullptr, 'w'},
                              {"portal-port", required_argument, nullptr, 'p'},
                              {"portal-tls-port", required_argument, nullptr, 't'},
                              {"no-ipv6", no_argument, nullptr, '4'},
                              {"verbose", no_argument, nullptr, 'v'},
                              {"remove", no_argument, nullptr, 'r'},
                              {"state-dir", required_argument, nullptr, 's'},
                              {"exit-on-eof", no_argument, nullptr, 'x'},
                              {"help", no_argument, nullptr, 'h'},
                              {"version", no_argument, nullptr, 'V'},
                              {nullptr, 0, nullptr, 0}};

struct Options {
  bool enforce = false;
  bool remove = false;
  bool exit_on_eof = false;
  bool is_of_enforcing = false;  // one was given that has a meaning with --enforce alone
  EnforceOptions enforcing;
};

void check_options(const Options& options) {
  const std::string& lan = options.enforcing.rules.lan;
  if (options.enforce + options.remove + options.exit_on_eof > 1) {
    throw std::runtime_error("--enforce, --remove and --exit-on-eof exclude each other");
  }
  if (options.is_of_enforcing && !options.enforce) {
    throw std::runtime_error("--enforce is missing");
  }
  if (options.enforce && lan.empty()) throw std::runtime_error("--enforce needs --lan IFACE");
  if (options.enforce && !is_interface_name(lan)) {
    throw std::runtime_error("'" + lan + "' is not the name of an interface");
  }
}

void take_option(Options& options, int code) {
  EnforceOptions& enforcing = options.enforcing;
  if (code == 'e') options.enforce = true;
  if (code == 'r') options.remove = true;
  if (code == 'x') options.exit_on_eof = true;
  if (code == 'l') enforcing.rules.lan = optarg;
  if (code == 'p') enforcing.rules.portal_port = read_port(optarg);
  if (code == 't') enforcing.rules.portal_tls_port = read_port(optarg);
  if (code == '4') enforcing.rules.ipv6 = false;
  if (code == 'v') enforcing.verbose = true;
  if (code == 's') enforcing.state_folder = optarg;
  if (std::string("lwpt4v").find(static_cast<char>(code)) != std::string::npos) {
    options.is_of_enforcing = true;
  }
}

// Nothing when only help or the version was wanted, which is then printed.
std::optional<Options> read_options(int argc, char** argv) {
  Options options;
  for (int code; (code = getopt_long(argc, argv, "", OPTIONS, nullptr)) != -1;) {
    if (code == '?') throw std::runtime_error("see webauth-gate --help");
    if (code == 'h' || code == 'V') {
      std::fputs(code == 'h' ? USAGE : "webauth-gate " WEBAUTHD_VERSION "\n", stdout);
      return {};
    }
    take_option(options, code);
  }
  if (optind < argc) throw std::runtime_error(std::string("not understood: ") + argv[optind]);
  check_options(options);
  return options;
}

}  // namespace

int run_webauth_gate(int argc, char** argv) {
  try {
    const auto options = read_options(argc, argv);
    if (!options) return 0;
    if (options->enforce) return run_enforcer(options->enforcing);
    if (!options->remove) return run_gate(options->exit_on_eof);
    remove_enforcement(options->enforcing.state_folder);
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "webauth-gate: %s\n", error.what());
    return 1;
  }
}

}  // namespace webauth
