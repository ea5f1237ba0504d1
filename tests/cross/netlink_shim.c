/* Linked into programs that are tested under emulation: the emulator refuses the netlink protocols 2
 * and 21 and knows 15, which carries datagrams between processes in the same way. Of protocol 0 it
 * translates what it knows, and refuses the rest, the neighbour table; but not of a descriptor that
 * came from elsewhere. */
#define _GNU_SOURCE
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

int socket(int family, int type, int protocol) {
  if (family == AF_NETLINK && (protocol == 2 || protocol == 21)) protocol = 15;
  const int fd = (int)syscall(SYS_socket, family, type, protocol);
  if (fd < 0 || family != AF_NETLINK || protocol != 0) return fd;
  const int self = (int)syscall(SYS_pidfd_open, getpid(), 0);
  const int plain = (int)syscall(SYS_pidfd_getfd, self, fd, 0);
  close(self);
  close(fd);
  return plain;
}
