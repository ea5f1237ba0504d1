// The server below the pages: accepts, keeps the bounds of connection_policy.h, gives each
// connection ten seconds to ask and reads one request from it, hands that on and writes the answer.
// Everything is done as far as it goes without waiting. Times are microseconds of the steady clock.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "portal/connection.h"
#include "portal/connection_policy.h"
#include "portal/http_request.h"
#include "portal/http_response.h"
#include "portal/tls_context.h"

namespace webauth {

/// Names one connection for good, also after another has taken its place.
struct ConnectionId {
  std::size_t place = 0;
  std::uint64_t order = 0;
};

/// Of nobody.
inline constexpr ConnectionId NO_CONNECTION{.place = SIZE_MAX, .order = 0};

/// A request and where it came from. What it holds lives until it is answered.
struct Visit {
  Request request;
  std::span<char> body;
  std::uint32_t ip = 0;  ///< network byte order
  bool tls = false;
  ConnectionId id;
};

struct ConnectionHandlers {
  /// Asked as soon as the head is there; nothing: the body is wanted too.
  std::function<std::optional<Response>(const Visit&)> judge;
  /// Asked with the whole request; nothing: answer_later will be called.
  std::function<std::optional<Response>(const Visit&)> serve;
  /// A connection of `ip` was closed for a newcomer's sake, or the newcomer itself.
  std::function<void(std::uint32_t ip)> displaced;
};

using Input = std::array<char, HEAD_LIMIT + BODY_LIMIT>;

struct ConnectionServer {
  ConnectionBounds bounds;
  ConnectionHandlers handlers;
  TlsContext tls;
  std::string policy;  ///< Content-Security-Policy of every answer
  int epoll = -1;
  int listeners[2] = {-1, -1};    ///< plain, TLS
  std::int64_t paused_until = 0;  ///< no descriptor was left; 0: accepts
  std::uint64_t last_order = 0;
  std::vector<Place> places;            ///< bounds.all, and in the same order
  std::vector<Connection> connections;  ///< ... what belongs to them
  std::unique_ptr<Input[]> inputs;      ///< ... touched only as they are used
  std::size_t used = 0;                 ///< places behind these are free
};

/// What epoll tells of this server: `is_listener` for tags below 2, else a connection.
inline constexpr std::uint64_t LISTENER_TAGS = 2;

/// Listens on address:port (network byte order, host byte order) with tag 0 (plain) or 1 (TLS) at
/// `server.epoll`. Throws std::runtime_error.
void listen_at(ConnectionServer& server, std::uint32_t address, std::uint16_t port, bool tls);

/// Makes room for bounds.all connections.
void make_places(ConnectionServer& server);

void accept_connections(ConnectionServer& server, bool tls);
void serve_connection(ConnectionServer& server, std::uint64_t tag, std::uint32_t events);

/// Closes who has had his time.
void expire_connections(ConnectionServer& server, std::int64_t now);
std::int64_t next_deadline(const ConnectionServer& server);

/// False when the connection has gone.
bool answer_later(ConnectionServer& server, ConnectionId id, const Response& response);

}  // namespace webauth
