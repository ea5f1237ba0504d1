/* Linked into programs that are tested under emulation: the emulator refuses the netlink protocols 2
 * and 21 and knows 15, which carries datagrams between processes in the same way. */
#define _GNU_SOURCE
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

int socket(int family, int type, int protocol) {
  if (family == AF_NETLINK && (protocol == 2 || protocol == 21)) protocol = 15;
  return (int)syscall(SYS_socket, family, type, protocol);
}
