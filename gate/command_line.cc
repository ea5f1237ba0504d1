#include "gate/command_line.h"

#include <CLI/CLI.hpp>
#include <iostream>

#include "gate/gate_loop.h"

namespace webauth {

int run_webauth_gate(int argc, char** argv) {
  CLI::App app(
      "Stands in for the web-auth kernel module: keeps the tables that the daemon describes, "
      "prints "
      "every message, and sends events on command. Commands on standard input: online KIND IP MAC "
      "(KIND mac, ip, user or a number), offline IP, check-expiry IP, list.");
  bool exit_on_eof = false;
  app.add_flag("--exit-on-eof", exit_on_eof, "end when standard input ends, instead of serving on");
  try {
    app.parse(argc, argv);
    return run_gate(exit_on_eof);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : 1;
  } catch (const std::exception& error) {
    std::cerr << "webauth-gate: " << error.what() << '\n';
    return 1;
  }
}

}  // namespace webauth
