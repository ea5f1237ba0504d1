// The daemon's neighbours as the benchmarks need them: the kernel side, syslog, the front end.
//
// Everything uses the daemon's fixed paths, so it belongs into a sandbox. What cannot be set up
// ends the program with a line on standard error.
#pragma once

#include <sched.h>
#include <sys/types.h>

#include <cstdint>

namespace webauth {

/// Ends the program with `what` and the text of errno unless `done`.
void require(bool done, const char* what);

/// A datagram socket bound to syslog's path. Its queue holds ten records.
int open_log_sink();

/// The netlink socket of the kernel side, bound to GATE_PORT; it sends to netlink port
/// `daemon_port` and, when that is not 0, hears nobody else.
int open_kernel_side(std::uint32_t daemon_port);

/// A new connection of the front end to the login socket.
int connect_front_end();

/// A datagram socket connected to the control socket.
int connect_control();

/// A child process that opens a socket and does nothing but read it, until the Reader goes. It
/// shares one processor with this process and does not take it away whenever something arrives:
/// otherwise chance decides how often the two wake each other, which costs more than a datagram.
class Reader {
 public:
  explicit Reader(int (*open_socket)());
  ~Reader();
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;

 private:
  pid_t child_;
  cpu_set_t processors_before_;
};

}  // namespace webauth
