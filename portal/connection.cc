#include "portal/connection.h"

#include <openssl/err.h>
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

}  // namespace

Transfer receive(Connection& connection, std::span<char> room) {
  if (!connection.ssl) {
    return socket_transfer(recv(connection.fd, room.data(), room.size(), 0), Flow::WANTS_INPUT);
  }
  ERR_clear_error();
  std::size_t count = 0;
  const int result = SSL_read_ex(connection.ssl.get(), room.data(), room.size(), &count);
  return tls_transfer(connection, result, count);
}

Transfer transmit(Connection& connection, std::string_view bytes) {
  if (!connection.ssl) {
    const ssize_t count = send(connection.fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    return socket_transfer(count, Flow::WANTS_OUTPUT);
  }
  ERR_clear_error();
  std::size_t count = 0;
  const int result = SSL_write_ex(connection.ssl.get(), bytes.data(), bytes.size(), &count);
  return tls_transfer(connection, result, count);
}

void end_tls(Connection& connection) {
  if (connection.ssl && SSL_is_init_finished(connection.ssl.get())) {
    ERR_clear_error();
    (void)SSL_shutdown(connection.ssl.get());
  }
  connection.ssl.reset();
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
