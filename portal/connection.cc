#include "portal/connection.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/err.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <cerrno>

namespace webauth {
namespace {

Transfer socket_transfer(ssize_t count, Flow wants) {
  if (count > 0) return {Flow::MOVED, static_cast<std::size_t>(count)};
  const bool again = count < 0 && (errno == EAGAIN || errno == EINTR);
  return {again ? wants : Flow::ENDED};
}

Transfer tls_transfer(Connection& connection, int result, std::size_t count) {
  if (result == 1) return {Flow::MOVED, count};
  switch (SSL_get_error(connection.ssl.get(), result)) {
    case SSL_ERROR_WANT_READ:
      return {Flow::WANTS_INPUT};
    case SSL_ERROR_WANT_WRITE:
      return {Flow::WANTS_OUTPUT};
    default:
      connection.ssl.reset();  // after an error not even the end may be said
      return {Flow::ENDED};
  }
}

// The size of the record that a TLS connection begins with; 0: it begins with something else. While
// not even its header is there, the header's.
int first_record_size(int fd) {
  constexpr int HEADER = 5;
  constexpr int LARGEST = 1 << 14;
  constexpr unsigned char HANDSHAKE = 22;
  unsigned char header[HEADER] = {};
  const ssize_t count = recv(fd, header, sizeof header, MSG_PEEK);
  if (count > 0 && header[0] != HANDSHAKE) return 0;
  if (count < HEADER) return HEADER;
  const int size = header[3] << 8 | header[4];
  return size <= LARGEST ? HEADER + size : 0;
}

}  // namespace

bool begin_tls(Connection& connection, SSL_CTX* context) {
  int available = 0;
  if (ioctl(connection.fd, FIONREAD, &available) != 0) return false;
  if (available < connection.hello_size) return false;  // called all the same: it has ended
  int wanted = first_record_size(connection.fd);
  if (wanted == 0) return false;
  connection.hello_size = available < wanted ? wanted : 0;
  if (connection.hello_size == 0) wanted = 1;
  (void)setsockopt(connection.fd, SOL_SOCKET, SO_RCVLOWAT, &wanted, sizeof wanted);
  if (connection.hello_size != 0) return true;
  connection.ssl.reset(SSL_new(context));
  if (!connection.ssl) return false;
  SSL_set_accept_state(connection.ssl.get());
  return SSL_set_fd(connection.ssl.get(), connection.fd) == 1;
}

Transfer receive(Connection& connection, std::span<char> room) {
  if (!connection.ssl) {
    return socket_transfer(recv(connection.fd, room.data(), room.size(), 0), Flow::WANTS_INPUT);
  }
  ERR_clear_error();
  std::size_t count = 0;
  const int result = SSL_read_ex(connection.ssl.get(), room.data(), room.size(), &count);
  const Transfer moved = tls_transfer(connection, result, count);
  if (moved.flow == Flow::WANTS_INPUT) {
    // Nothing of ours follows the end of the handshake, and a client that sends no small segment
    // before the last is acknowledged would wait for our delayed acknowledgement: 40 ms.
    const int on = 1;
    (void)setsockopt(connection.fd, IPPROTO_TCP, TCP_QUICKACK, &on, sizeof on);
  }
  return moved;
}

Transfer transmit(Connection& connection, std::string_view bytes) {
  if (!connection.ssl) {
    // The end follows at once, and goes in the last segment: one packet less, one wake of the peer.
    const ssize_t count = send(connection.fd, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_MORE);
    return socket_transfer(count, Flow::WANTS_OUTPUT);
  }
  ERR_clear_error();
  std::size_t count = 0;
  const int result = SSL_write_ex(connection.ssl.get(), bytes.data(), bytes.size(), &count);
  return tls_transfer(connection, result, count);
}

void say_end(Connection& connection) {
  if (connection.ssl && SSL_is_init_finished(connection.ssl.get())) {
    ERR_clear_error();
    (void)SSL_shutdown(connection.ssl.get());
  }
  connection.ssl.reset();
  (void)shutdown(connection.fd, SHUT_WR);
}

bool discard_input(Connection& connection) {
  constexpr int MOST_PIECES = 16;  // in one go; who sends on is called again
  char piece[4096];
  for (int i = 0; i < MOST_PIECES; ++i) {
    const ssize_t count = recv(connection.fd, piece, sizeof piece, 0);
    if (count < 0 && (errno == EAGAIN || errno == EINTR)) return true;
    if (count <= 0) return false;
  }
  return true;
}

}  // namespace webauth
