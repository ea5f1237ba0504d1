#include "gate/gate_socket.h"

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

[[noreturn]] void fail(const char* what) {
  throw std::runtime_error(std::string(what) + ": " + std::strerror(errno));
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

}  // namespace

int open_gate_socket() {
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
    fail(("cannot bind " + port).c_str());
  }
  return fd;
}

std::optional<Datagram> receive_datagram(int fd) {
  Datagram datagram{.bytes = std::vector<unsigned char>(GATE_RECEIVE_LIMIT),
                    .size = 0,
                    .sender_port = 0,
                    .from_us = false};
  iovec vector{datagram.bytes.data(), datagram.bytes.size()};
  sockaddr_nl sender{};
  alignas(cmsghdr) unsigned char control[CMSG_SPACE(sizeof(ucred))];
  msghdr message{};
  message.msg_name = &sender;
  message.msg_namelen = sizeof sender;
  message.msg_iov = &vector;
  message.msg_iovlen = 1;
  message.msg_control = control;
  message.msg_controllen = sizeof control;
  const ssize_t size = recvmsg(fd, &message, MSG_DONTWAIT | MSG_TRUNC);
  if (size < 0) return {};
  datagram.size = static_cast<std::size_t>(size);
  datagram.bytes.resize(std::min(datagram.size, GATE_RECEIVE_LIMIT));
  datagram.sender_port = sender.nl_pid;
  datagram.from_us = is_from_us(message);
  return datagram;
}

int send_event(int fd, std::uint32_t port, const KernelMessage& event) {
  const sockaddr_nl address = netlink_address(port);
  const ssize_t sent = sendto(fd, &event, sizeof event, MSG_DONTWAIT,
                              reinterpret_cast<const sockaddr*>(&address), sizeof address);
  return sent < 0 ? errno : 0;
}

}  // namespace webauth
