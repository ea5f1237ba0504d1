#include "gate/gate_loop.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>

#include "common/clock.h"
#include "common/fd_guard.h"
#include "common/standard_descriptors.h"
#include "daemon/platform/kernel_endpoint.h"
#include "gate/entry_tables.h"
#include "gate/gate_command.h"
#include "gate/gate_socket.h"
#include "gate/input_lines.h"
#include "gate/message_text.h"
#include "gate/output_lines.h"

namespace webauth {
namespace {

/// Messages served before standard input gets its turn again.
constexpr int MESSAGES_PER_PASS = 1024;

/// How long an event waits for room in the daemon's queue.
constexpr std::int64_t SEND_PATIENCE_US = 2'000'000;
constexpr int SEND_RETRY_MS = 10;

struct Gate {
  int netlink;
  std::uint32_t daemon_port = 0;  ///< 0 until the daemon has been heard
  EntryTables tables{};
  InputLines input{};
  OutputLines output{.fd = STDOUT_FILENO};
  std::size_t ignored = 0;  ///< messages of other users
};

/// Returns false when nothing is waiting.
bool serve_one_message(Gate& gate) {
  const std::optional<Datagram> datagram = receive_datagram(gate.netlink);
  if (!datagram) {
    if (errno == EAGAIN || errno == EINTR) return false;
    print_lines(gate.output, std::string("cannot receive: ") + std::strerror(errno));
    return false;
  }
  if (!datagram->from_us) {
    ++gate.ignored;
    return true;
  }
  print_lines(gate.output, datagram_text(*datagram));
  if (const auto message = known_message(*datagram)) {
    if (datagram->sender_port != 0) gate.daemon_port = datagram->sender_port;
    apply_message(gate.tables, *message);
  }
  return true;
}

void serve_messages(Gate& gate) {
  for (int served = 0; served < MESSAGES_PER_PASS && serve_one_message(gate); ++served) {
  }
}

/// Waits for room without ceasing to receive: the daemon may itself be waiting for room here.
int send_with_patience(Gate& gate, const KernelMessage& event) {
  const std::int64_t deadline = steady_microseconds() + SEND_PATIENCE_US;
  for (;;) {
    const int error = send_event(gate.netlink, gate.daemon_port, event);
    if (error != EAGAIN || steady_microseconds() >= deadline) return error;
    pollfd waiting{.fd = gate.netlink, .events = POLLIN, .revents = 0};
    poll(&waiting, 1, SEND_RETRY_MS);
    serve_messages(gate);
  }
}

void report_event(Gate& gate, const KernelMessage& event) {
  const std::string text = event_text(event);
  if (gate.daemon_port == 0) {
    print_lines(gate.output, "not sent, no daemon has been heard yet: " + text);
    return;
  }
  // A client that leaves is gone from the table, whether or not the daemon hears of it.
  if (event.command == ENTRY_OFFLINE) drop_user(gate.tables, event.ip);
  const int error = send_with_patience(gate, event);
  const std::string port = "port " + std::to_string(gate.daemon_port);
  if (error == 0) {
    print_lines(gate.output, "sent to " + port + ": " + text);
  } else {
    print_lines(gate.output, "not sent to " + port + " (" + std::strerror(error) + "): " + text);
  }
}

void obey(Gate& gate, const InputLine& line) {
  if (line.too_long) {
    print_lines(gate.output,
                "ignored: a line of more than " + std::to_string(INPUT_LINE_LIMIT) + " bytes");
    return;
  }
  if (line.text.find_first_not_of(" \t\r") == std::string::npos) return;
  std::string problem;
  const std::optional<GateCommand> command = parse_gate_command(line.text, problem);
  if (!command) {
    print_lines(gate.output, problem);
  } else if (command->event) {
    report_event(gate, *command->event);
  } else {
    if (gate.ignored > 0) {
      print_lines(gate.output,
                  "  ignored messages of other users: " + std::to_string(gate.ignored));
    }
    print_lines(gate.output, tables_text(gate.tables));
  }
}

/// Returns false at the end of the input.
bool serve_input(Gate& gate) {
  char bytes[4096];
  const ssize_t count = read(STDIN_FILENO, bytes, sizeof bytes);
  if (count < 0 && (errno == EAGAIN || errno == EINTR)) return true;
  const bool more = count > 0;
  const auto lines =
      more ? gate.input.add({bytes, static_cast<std::size_t>(count)}) : gate.input.finish();
  for (const InputLine& line : lines) obey(gate, line);
  return more;
}

}  // namespace

int run_gate(bool exit_on_eof) {
  occupy_standard_descriptors();
  (void)std::signal(SIGPIPE, SIG_IGN);
  (void)std::signal(SIGTTIN, SIG_IGN);  // in the background a terminal's input is at its end
  const FdGuard netlink(open_gate_socket());
  Gate gate{.netlink = netlink.get()};
  print_lines(gate.output, "webauth-gate: listening on port " + std::to_string(GATE_PORT));
  pollfd watched[] = {{.fd = netlink.get(), .events = POLLIN, .revents = 0},
                      {.fd = STDIN_FILENO, .events = POLLIN, .revents = 0}};
  for (;;) {
    if (poll(watched, 2, -1) < 0) continue;
    if (watched[0].revents != 0) serve_messages(gate);
    if (watched[1].revents == 0 || serve_input(gate)) continue;
    if (exit_on_eof) return 0;
    watched[1].fd = -1;  // poll passes over it from now on
    watched[1].revents = 0;
  }
}

}  // namespace webauth
