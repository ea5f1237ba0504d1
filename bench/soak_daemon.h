// The real daemon process and its neighbours: this process is its syslog, its kernel side and its
// front ends.
//
// Nothing sleeps: a daemon that is blocked in select has handled all that was sent to it before.
// A daemon that ends, or does not come to rest, is a fault, told in Observed.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

#include "bench/soak_event.h"

namespace webauth {

struct Observed {
  std::vector<std::string> replies = {};   ///< one element per event on the login channel
  std::vector<std::string> messages = {};  ///< datagrams to the kernel side
  std::vector<std::string> log = {};       ///< texts; whole datagrams where the priority is wrong
  std::string fault = {};
};

struct Daemon {
  int log_fd = -1;
  int kernel_fd = -1;
  int control_fd = -1;  ///< connected to the running daemon
  int syscall_fd = -1;  ///< its /proc/PID/syscall
  int stat_fd = -1;     ///< its /proc/PID/stat
  pid_t pid = 0;        ///< 0: none runs
};

/// Opens what outlives a daemon.
void open_neighbours(Daemon& daemon);

void launch(Daemon& daemon);

/// Waits until the daemon has handled everything, and notes what it sent.
void settle(Daemon& daemon, Observed& observed);

/// After the launch: settles and connects to the control channel.
void await_start(Daemon& daemon, Observed& observed);

/// Does a batch and waits for all its effects.
void perform(Daemon& daemon, const std::vector<Event>& batch, Observed& observed);

/// Only sends what a batch consists of. Returns the descriptors of its connections.
std::vector<int> send_batch(Daemon& daemon, const std::vector<Event>& batch);

/// Kills the daemon at once, and notes what it had sent.
void kill_daemon(Daemon& daemon, Observed& observed);

/// Takes its kernel side away, at which it ends by itself: a sanitizer then looks for leaks.
/// Returns its exit status; -1 when it does not end.
int end_daemon(Daemon& daemon);

/// The published list; nothing when there is no file.
std::optional<std::string> read_list();

long resident_kilobytes(const Daemon& daemon);
long count_descriptors(const Daemon& daemon);

}  // namespace webauth
