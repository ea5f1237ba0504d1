#include "portal/command_line.h"

#include <getopt.h>

#include <algorithm>
#include <cstdio>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "common/port_number.h"
#include "portal/portal_loop.h"

namespace webauth {
namespace {

constexpr char USAGE[] =
    "usage: webauth-portal --lan IFACE [--port N] [--config DIR]\n"
    "                      [--tls-port N --name HOST --cert FILE --key FILE]\n"
    "Shows visitors behind IFACE the login page, and logs them in at webauthd.\n"
    "  --lan IFACE   interface behind which the visitors are\n"
    "  --port N      plain HTTP at the first IPv4 address of IFACE; 8080\n"
    "  --config DIR  branding; /etc/webauth-portal\n"
    "  --name HOST, --cert FILE, --key FILE  TLS, with the PEM certificate of HOST\n"
    "  --tls-port N  its port; 8443\n";

// By hand, since a library for it would be larger than the rest of the program.
constexpr option OPTIONS[] = {
    {"lan", required_argument, nullptr, 'l'},      {"port", required_argument, nullptr, 'p'},
    {"tls-port", required_argument, nullptr, 't'}, {"name", required_argument, nullptr, 'n'},
    {"cert", required_argument, nullptr, 'c'},     {"key", required_argument, nullptr, 'k'},
    {"config", required_argument, nullptr, 'd'},   {"help", no_argument, nullptr, 'h'},
    {"version", no_argument, nullptr, 'V'},        {nullptr, 0, nullptr, 0}};

// It stands in headers and pages, so it must be what it is called.
bool is_host_name(std::string_view text) {
  return !text.empty() && text.size() <= 253 && std::all_of(text.begin(), text.end(), [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
           c == '.';
  });
}

void check_options(const PortalOptions& options, bool has_tls_port) {
  if (options.lan.empty()) throw std::runtime_error("--lan IFACE is missing");
  const bool has_tls = !options.name.empty();
  if (has_tls != !options.certificate.empty() || has_tls != !options.key.empty() ||
      (has_tls_port && !has_tls)) {
    throw std::runtime_error("--name, --cert and --key go together");
  }
  if (has_tls && !is_host_name(options.name)) {
    throw std::runtime_error(options.name + " is not a host name");
  }
}

// Nothing when only help or the version was wanted, which is then printed.
std::optional<PortalOptions> read_options(int argc, char** argv) {
  PortalOptions options;
  bool has_tls_port = false;
  for (int code; (code = getopt_long(argc, argv, "", OPTIONS, nullptr)) != -1;) {
    if (code == 'h' || code == 'V') {
      std::fputs(code == 'h' ? USAGE : "webauth-portal " WEBAUTHD_VERSION "\n", stdout);
      return {};
    }
    if (code == 'l') options.lan = optarg;
    if (code == 'p') options.port = read_port(optarg);
    if (code == 't') options.tls_port = read_port(optarg);
    if (code == 'n') options.name = optarg;
    if (code == 'c') options.certificate = optarg;
    if (code == 'k') options.key = optarg;
    if (code == 'd') options.config = optarg;
    if (code == '?') throw std::runtime_error("see webauth-portal --help");
    has_tls_port = has_tls_port || code == 't';
  }
  if (optind < argc) throw std::runtime_error(std::string("not understood: ") + argv[optind]);
  check_options(options, has_tls_port);
  return options;
}

}  // namespace

int run_webauth_portal(int argc, char** argv) {
  try {
    const auto options = read_options(argc, argv);
    return options ? run_portal(*options) : 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "webauth-portal: %s\n", error.what());
    return 1;
  }
}

}  // namespace webauth
