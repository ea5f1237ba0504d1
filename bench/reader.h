// A neighbour that does nothing but read.
#pragma once

#include <sched.h>
#include <sys/types.h>

namespace webauth {

/// A child process that takes a socket over and reads it, until the Reader goes. It shares one
/// processor with this process and does not take it away whenever something arrives: otherwise
/// chance decides how often the two wake each other, which costs more than a datagram.
class Reader {
 public:
  explicit Reader(int socket);
  ~Reader();
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;

 private:
  pid_t child_;
  cpu_set_t processors_before_;
};

}  // namespace webauth
