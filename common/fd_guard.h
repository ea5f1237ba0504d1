// Owns one file descriptor inside a function and closes it on the way out.
#pragma once

#include <unistd.h>

namespace webauth {

class FdGuard {
 public:
  explicit FdGuard(int fd) : fd_(fd) {}
  ~FdGuard() {
    if (fd_ >= 0) close(fd_);
  }
  FdGuard(const FdGuard&) = delete;
  FdGuard& operator=(const FdGuard&) = delete;

  /// The descriptor, or a negative number when there is none.
  [[nodiscard]] int get() const { return fd_; }

 private:
  int fd_;
};

}  // namespace webauth
