// One connection of a browser, plain or TLS, that never waits: receive and send as far as it goes.
#pragma once

#include <openssl/ssl.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

namespace webauth {

struct SslFree {
  void operator()(SSL* ssl) const { SSL_free(ssl); }
};

struct Connection {
  int fd = -1;
  std::unique_ptr<SSL, SslFree> ssl;  ///< none: plain, or not begun
  int hello_size = 0;                 ///< bytes that are waited for before TLS begins
  std::int64_t deadline = 0;          ///< steady microseconds
  bool is_watched = false;            ///< known to epoll,
  std::uint32_t watched = 0;          ///< which was asked for this
  std::size_t have = 0;               ///< bytes of the request
  std::size_t wanted = 0;             ///< of it, as soon as its head says so
  bool with_body = true;              ///< how the answer is to be written: not after HEAD
  bool has_rest = false;  ///< more may come than was read: closing now could kill the answer
  std::string answer;
  std::size_t sent = 0;
};

enum class Flow {
  MOVED,        ///< `count` bytes
  WANTS_INPUT,  ///< epoll will tell
  WANTS_OUTPUT,
  ENDED,  ///< closed by the peer, or broken
};

struct Transfer {
  Flow flow;
  std::size_t count = 0;
};

/// Begins TLS once its first record, the hello of the browser, has come as a whole: a connection
/// that does not get that far costs no memory. To be called when epoll tells of input, and before
/// anything is received. False when the connection will not get there.
bool begin_tls(Connection& connection, SSL_CTX* context);

Transfer receive(Connection& connection, std::span<char> room);
/// The last bytes of a plain connection may wait for say_end.
Transfer transmit(Connection& connection, std::string_view bytes);

/// Says the end of TLS, where there is TLS, and gives its memory back; says that no more will be
/// sent. The socket stays.
void say_end(Connection& connection);

/// Reads and forgets what comes behind the request. False when the peer has closed.
bool discard_input(Connection& connection);

}  // namespace webauth
