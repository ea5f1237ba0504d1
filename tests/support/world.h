// The world around one daemon: this process is its system log and its kernel side, connects as
// front ends do, and starts the real webauthd. Programs that use it run through scripts/sandbox.
//
// Nothing sleeps: a daemon that is blocked in select has handled all that was sent to it before.
// Waiting is bounded; whatever takes longer, or ends the daemon unasked, is thrown as
// std::runtime_error.
#pragma once

#include <unistd.h>

#include "tests/support/neighbours.h"
#include "tests/support/program.h"

namespace webauth {

class World {
 public:
  World();
  virtual ~World();
  World(const World&) = delete;
  World& operator=(const World&) = delete;

  /// Ends the daemon and clears files and effects: for the next row of a table.
  void reset();
  /// Starts the daemon in the way of this shell text; start writes the settings file before, and
  /// waits until the daemon serves.
  void launch(const std::string& text = "exec webauthd");
  void start(const std::string& settings = "");
  /// Waits until a daemon that has nothing to serve has handled everything. rest is false, instead
  /// of throwing, when the daemon has ended.
  void settle();
  bool rest();
  /// Waits for a daemon that ends by itself: its exit status.
  int wait_for_end();
  /// Takes the kernel side away, at which the daemon ends with the next message (a sanitizer then
  /// looks for leaks). Throws unless it does so with status 1, and has said nothing unasked.
  void end_daemon();

  /// What the daemon did since the last call, oldest first: "event <key> <text>" for an event
  /// record, "line <text>" for a "@#@ log_info n" line, "log <datagram>" for what is neither or has
  /// the wrong priority, and "kernel <record_text>", without the words that begin every
  /// KernelMessage. The others take only those of their kind, the first word left out.
  Lines effects();
  Lines events() { return take("event "); }
  Lines kernel() { return take("kernel "); }

  /// One front end that sends a whole request and waits for the end: its reply.
  std::string login(std::string_view ip, std::string_view mac, std::string_view user = "",
                    std::string_view password = "");
  /// The published list, with "NOW" for each login time since the daemon's start.
  [[nodiscard]] std::string published() const;

  void control(std::string_view datagram) const;
  /// Sends bytes from the kernel side.
  void kernel_event(std::string_view datagram) const;
  void open_kernel_side();
  void close_kernel_side();

  /// From here on the daemon goes from one log record or kernel message to the next, because both
  /// neighbours' queues are kept full and take one more only when it stands before them: effects
  /// are then in the order of their causes. look() is called at each stop.
  void watch_order() { in_steps_ = true; }

  Program daemon;

 protected:
  virtual void look() {}
  void note(const std::string& effect);
  /// While something else is waited for: keeps the daemon going.
  void go_on();

 private:
  void fill_queues() const;
  void come_to_rest();
  bool receive(bool log);
  Lines take(const std::string& kind);

  int log_fd_ = open_log_sink();
  int kernel_fd_ = -1;
  int log_filler_;
  int kernel_filler_;
  bool in_steps_ = false;
  std::int64_t started_ = 0;
  pid_t port_ = getpid();  // the daemon's netlink port, or this process's
  Lines effects_;
};

}  // namespace webauth
