#include "daemon/kernel/transport.h"

#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

#include "common/fatal.h"
#include "daemon/platform/kernel_endpoint.h"

namespace webauth {
namespace {

// Some 1,600 reports wait in it while a handler waits for a mail server: a lost ENTRY_OFFLINE would
// leave the next visitor at that address accepted but not let through.
constexpr int RECEIVE_BUFFER_BYTES = 1 << 20;

std::uint32_t kernel_port = 0;  // where TRANSPORT_NETLINK sends to; set with the socket

// The msghdr of one transfer. It points to the two arguments.
msghdr message_header(int transport, iovec& vector, sockaddr_nl& peer) {
  msghdr header{};
  header.msg_iov = &vector;
  header.msg_iovlen = 1;
  if (transport == TRANSPORT_NETLINK) {
    peer = netlink_address(kernel_port);
    header.msg_name = &peer;
    header.msg_namelen = sizeof peer;
  }
  return header;
}

bool is_transport(int transport) {
  return transport == TRANSPORT_NETLINK || transport == TRANSPORT_LOCAL;
}

}  // namespace

int open_netlink_socket() {
  const KernelEndpoint endpoint = kernel_endpoint();
  const int fd = socket(AF_NETLINK, SOCK_RAW, endpoint.protocol);
  if (fd < 0) return -1;
  enlarge_receive_buffer(fd, RECEIVE_BUFFER_BYTES);
  const sockaddr_nl own = netlink_address(static_cast<std::uint32_t>(getpid()));
  if (bind(fd, reinterpret_cast<const sockaddr*>(&own), sizeof own) < 0) return -1;
  if (endpoint.protocol == NETLINK_USERSOCK) {  // hears nobody else from here on
    const sockaddr_nl peer = netlink_address(endpoint.peer_port);
    if (connect(fd, reinterpret_cast<const sockaddr*>(&peer), sizeof peer) < 0) return -1;
  }
  kernel_port = endpoint.peer_port;
  return fd;
}

void init_kernel_message(KernelMessage& message, std::uint32_t command) {
  message = {};
  message.header.nlmsg_len = KERNEL_HEADER_LENGTH;
  message.header.nlmsg_pid = static_cast<std::uint32_t>(getpid());
  message.length = KERNEL_MESSAGE_SIZE;
  message.command = command;
}

ssize_t send_message(int transport, int fd, const void* buffer, std::size_t length) {
  if (!is_transport(transport)) return -1;
  iovec vector{const_cast<void*>(buffer), length};
  sockaddr_nl peer{};
  const msghdr header = message_header(transport, vector, peer);
  return sendmsg(fd, &header, 0);
}

ssize_t receive_message(int transport, int fd, void* buffer, std::size_t length) {
  if (!is_transport(transport)) return -1;
  iovec vector{buffer, length};
  sockaddr_nl peer{};
  msghdr header = message_header(transport, vector, peer);
  return recvmsg(fd, &header, 0);
}

ssize_t send_kernel_message(const KernelMessage& message) {
  return send_message(TRANSPORT_NETLINK, netlink_fd, &message, sizeof message);
}

void send_kernel_message_or_exit(const KernelMessage& message) {
  if (send_kernel_message(message) < 0) end_process();
}

}  // namespace webauth
