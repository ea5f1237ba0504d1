#include "gate/gate_socket.h"

#include <sys/socket.h>

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

}  // namespace

int open_gate_socket() {
  const int fd = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_USERSOCK);
  if (fd < 0) fail("cannot open a netlink socket");
  enlarge_receive_buffer(fd, RECEIVE_BUFFER_SIZE);
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
  Datagram datagram{
      .bytes = std::vector<unsigned char>(GATE_RECEIVE_LIMIT), .size = 0, .sender_port = 0};
  sockaddr_nl sender{};
  socklen_t sender_size = sizeof sender;
  const ssize_t size =
      recvfrom(fd, datagram.bytes.data(), datagram.bytes.size(), MSG_DONTWAIT | MSG_TRUNC,
               reinterpret_cast<sockaddr*>(&sender), &sender_size);
  if (size < 0) return {};
  datagram.size = static_cast<std::size_t>(size);
  datagram.bytes.resize(std::min(datagram.size, GATE_RECEIVE_LIMIT));
  datagram.sender_port = sender.nl_pid;
  return datagram;
}

int send_event(int fd, std::uint32_t port, const KernelMessage& event) {
  const sockaddr_nl address = netlink_address(port);
  const ssize_t sent = sendto(fd, &event, sizeof event, MSG_DONTWAIT,
                              reinterpret_cast<const sockaddr*>(&address), sizeof address);
  return sent < 0 ? errno : 0;
}

}  // namespace webauth
