#include "gate/daemon_link.h"

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>

#include "daemon/platform/kernel_endpoint.h"

namespace webauth {
namespace {

constexpr int RECEIVE_BUFFER_SIZE = 8 * 1024 * 1024;

[[noreturn]] void fail(const std::string& what) {
  throw std::runtime_error(what + ": " + std::strerror(errno));
}

// By the credentials that the kernel has put beside the message; what the message says of its
// sender anybody could have written.
bool is_from_us(msghdr& message) {
  for (cmsghdr* at = CMSG_FIRSTHDR(&message); at != nullptr; at = CMSG_NXTHDR(&message, at)) {
    if (at->cmsg_level != SOL_SOCKET || at->cmsg_type != SCM_CREDENTIALS) continue;
    ucred sender{};
    std::memcpy(&sender, CMSG_DATA(at), sizeof sender);
    return sender.uid == 0 || sender.uid == geteuid();
  }
  return false;
}

// 0 or the error number.
int send_event(const DaemonLink& link, const GateEvent& event) {
  const KernelMessage message = event_message(event);
  const sockaddr_nl address = netlink_address(link.port);
  const ssize_t sent = sendto(link.fd, &message, sizeof message, MSG_DONTWAIT,
                              reinterpret_cast<const sockaddr*>(&address), sizeof address);
  if (sent >= 0) return 0;
  return errno == ENOBUFS || errno == ENOMEM ? EAGAIN : errno;
}

}  // namespace

int open_daemon_link() {
  const int fd = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_USERSOCK);
  if (fd < 0) fail("cannot open a netlink socket");
  enlarge_receive_buffer(fd, RECEIVE_BUFFER_SIZE);
  const int on = 1;
  if (setsockopt(fd, SOL_SOCKET, SO_PASSCRED, &on, sizeof on) != 0) fail("cannot ask for senders");
  const sockaddr_nl address = netlink_address(GATE_PORT);
  if (bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    const std::string port = "port " + std::to_string(GATE_PORT);
    if (errno == EADDRINUSE) {
      throw std::runtime_error(port + " is taken: is another gate running?");
    }
    fail("cannot bind " + port);
  }
  return fd;
}

bool receive_datagram(DaemonLink& link, Datagram& datagram) {
  iovec vector{link.buffer.data(), link.buffer.size()};
  sockaddr_nl sender{};
  alignas(cmsghdr) unsigned char control[CMSG_SPACE(sizeof(ucred))];
  msghdr message{};
  message.msg_name = &sender;
  message.msg_namelen = sizeof sender;
  message.msg_iov = &vector;
  message.msg_iovlen = 1;
  message.msg_control = control;
  message.msg_controllen = sizeof control;
  const ssize_t size = recvmsg(link.fd, &message, MSG_DONTWAIT | MSG_TRUNC);
  if (size < 0) return false;
  datagram.size = static_cast<std::size_t>(size);
  datagram.bytes = {link.buffer.data(), std::min(datagram.size, link.buffer.size())};
  datagram.sender_port = sender.nl_pid;
  datagram.from_us = is_from_us(message);
  return true;
}

int send_queue(DaemonLink& link, const std::function<void(const GateEvent&)>& settled) {
  int error = 0;
  while (!link.queue.empty()) {
    if (error == 0) error = link.port == 0 ? ECONNREFUSED : send_event(link, link.queue.front());
    if (error == EAGAIN) break;
    settled(link.queue.front());
    link.queue.pop_front();
  }
  return error;
}

}  // namespace webauth
