// Descriptors 0, 1 and 2, which whoever starts a program may have closed: a socket that took the
// place of one would be read or written as a terminal.
#pragma once

#include <fcntl.h>
#include <unistd.h>

namespace webauth {

/// Opens /dev/null at those of them that are closed.
inline void occupy_standard_descriptors() {
  int fd = open("/dev/null", O_RDWR);
  while (fd >= 0 && fd <= STDERR_FILENO) fd = open("/dev/null", O_RDWR);
  if (fd >= 0) close(fd);
}

}  // namespace webauth
