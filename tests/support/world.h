// The world around one daemon: this process is its system log and its kernel side, connects as
// front ends do, and starts the real webauthd. Programs that use it run through scripts/sandbox.
//
// Nothing sleeps: a daemon that is blocked in select has handled all that was sent to it before.
// Waiting is bounded; what takes longer is thrown as std::runtime_error.
#pragma once

#include <unistd.h>

#include "tests/support/neighbours.h"

namespace webauth {

class World {
 public:
  World();
  virtual ~World();
  World(const World&) = delete;
  World& operator=(const World&) = delete;

  /// Ends the daemon and clears files and effects.
  void reset();
  /// Starts the daemon in the way of this shell text; start writes the settings file before, and
  /// waits until the daemon serves.
  void launch(const std::string& text = "exec webauthd");
  void start(const std::string& settings = "");
  /// Waits until the daemon has handled everything, or has ended: that is an effect too.
  void settle();
  /// Takes the kernel side away, at which the daemon ends with the next message (a sanitizer then
  /// looks for leaks). Throws unless it does so with status 1, and has said nothing unasked.
  void end_daemon();

  /// What the daemon did since the last call, oldest first: "event <key> <text>" for an event
  /// record, "line <text>" for a "@#@ log_info n" line, "log <datagram>" for what is neither or has
  /// the wrong priority, "kernel <record_text>", without the words that begin every KernelMessage,
  /// and "exit status <status>". With a first word: only those, without it.
  Lines effects(const std::string& first = "");

  /// One front end that sends a whole request and waits for the end: its reply.
  std::string login(std::string_view ip, std::string_view mac, std::string_view user = "",
                    std::string_view password = "");
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
  void note(const std::string& effect) { effects_.push_back(effect); }
  /// While something else is waited for: keeps the daemon going.
  void go_on();
  std::int64_t started_ = 0;

 private:
  void fill_queues() const;
  bool receive(bool log);

  int log_fd_ = open_log_sink();
  int kernel_fd_ = -1;
  int log_filler_;
  int kernel_filler_;
  bool in_steps_ = false;
  pid_t port_ = getpid();  // the daemon's netlink port, or this process's
  Lines effects_;
};

}  // namespace webauth
