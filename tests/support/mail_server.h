// A mail server on loopback, in a process of its own, that says what it is told to, whatever it
// hears. What goes wrong is thrown as std::runtime_error.
#pragma once

#include <sys/types.h>

#include <string>

#include "tests/support/program.h"

namespace webauth {

/// Serves one connection after the other until it is stopped.
class MailServer {
 public:
  /// `says` is the greeting and one answer per command. What stands behind a '|' comes a second
  /// later; "close" there, or alone, closes; "..." repeats the answer before it for ever. After the
  /// last answer it waits for the client's end.
  explicit MailServer(const Lines& says, bool tls = false, int port = 0);
  ~MailServer();
  MailServer(const MailServer&) = delete;
  MailServer& operator=(const MailServer&) = delete;

  [[nodiscard]] int port() const { return port_; }
  /// The lines that came since the last call, and notes about what is no line.
  Lines heard();
  /// Takes no more connections; the last one must have ended or end by itself.
  void stop();

 private:
  int port_ = 0;
  int listener_ = -1;
  int heard_ = -1;
  pid_t process_ = 0;
};

}  // namespace webauth
