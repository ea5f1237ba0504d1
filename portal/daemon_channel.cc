#include "portal/daemon_channel.h"

#include <linux/sockios.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

#include "common/text_field.h"
#include "common/unix_address.h"
#include "daemon/control/control_message.h"

namespace webauth {
namespace {

Sending sending_of(int error) {
  const bool is_full = error == EAGAIN || error == EINTR || error == ENOBUFS || error == ENOMEM;
  return is_full ? Sending::BUSY : Sending::UNREACHABLE;
}

}  // namespace

LoginConnection send_login(const LoginRequest& request) {
  const sockaddr_un address = unix_address(LOGIN_SOCKET_PATH);
  const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (fd < 0) return {Sending::UNREACHABLE, -1};
  if (connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    const int error = errno;
    close(fd);
    return {sending_of(error), -1};
  }
  if (send(fd, &request, sizeof request, MSG_NOSIGNAL) == sizeof request) {
    return {Sending::SENT, fd};
  }
  close(fd);
  return {Sending::UNREACHABLE, -1};
}

int open_control_channel() { return socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0); }

Sending send_cut(int control, const std::string& ip) {
  const sockaddr_un address = unix_address(CONTROL_SOCKET_PATH);
  CutIpMessage message{};
  message.command = CTL_CUT_IP;
  if (!put_field(message.ip, ip)) return Sending::UNREACHABLE;
  const ssize_t sent = sendto(control, &message, sizeof message, MSG_NOSIGNAL,
                              reinterpret_cast<const sockaddr*>(&address), sizeof address);
  return sent == sizeof message ? Sending::SENT : sending_of(errno);
}

bool are_cuts_read(int control) {
  int unread = 0;
  return ioctl(control, SIOCOUTQ, &unread) != 0 || unread == 0;
}

}  // namespace webauth
