// The places of the server: who takes one, who gives it up, and what epoll is asked of it.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "portal/connection_server.h"

namespace webauth {

/// Those up to the last one that is taken.
std::span<const Place> used_places(const ConnectionServer& server);

/// Gives a new connection a place by the bounds, closing others for it; nothing when it had to be
/// closed itself.
std::optional<std::size_t> take_place(ConnectionServer& server, int fd, std::uint32_t ip, bool tls);

/// Closes the connection and wipes what it asked.
void drop_place(ConnectionServer& server, std::size_t place);
void drop_for_newcomer(ConnectionServer& server, std::size_t place);

/// Asks epoll to tell of `events`, and of no others.
void watch_place(ConnectionServer& server, std::size_t place, std::uint32_t events);

/// What epoll tells a connection by: never that of another one.
std::uint64_t tag_of(const ConnectionServer& server, std::size_t place);
std::size_t place_of(std::uint64_t tag);

}  // namespace webauth
