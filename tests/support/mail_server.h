// A mail server on loopback, in a process of its own, that says what it is told to, whatever it
// hears.
#pragma once

#include "tests/support/program.h"

typedef struct bio_st BIO;

namespace webauth {

/// Serves one connection after the other until it is stopped.
class MailServer {
 public:
  /// `says` is the greeting and one answer per command. What stands behind a '|' comes a second
  /// later; "close" there, or alone, closes; "..." repeats the answer before it for ever. After the
  /// last answer it waits for the client's end. Throws std::runtime_error.
  explicit MailServer(const Lines& says, bool tls = false, int port = 0);
  ~MailServer();
  MailServer(const MailServer&) = delete;
  MailServer& operator=(const MailServer&) = delete;

  [[nodiscard]] int port() const;
  /// The lines that came since the last call, and notes about what is no line.
  Lines heard();
  /// Takes no more connections; the last one must have ended or end by itself.
  void stop();

 private:
  BIO* listener_;
  int heard_;
  pid_t process_;
};

}  // namespace webauth
