#include "portal/connection_places.h"

#include <openssl/crypto.h>
#include <sys/epoll.h>
#include <unistd.h>

#include <algorithm>

namespace webauth {
namespace {

constexpr int PLACE_BITS = 16;

}  // namespace

void make_places(ConnectionServer& server) {
  server.places.resize(server.bounds.all);
  server.connections.resize(server.bounds.all);
  server.inputs.reset(new Input[server.bounds.all]);  // not filled: nobody needs the memory yet
}

std::span<const Place> used_places(const ConnectionServer& server) {
  return std::span(server.places).first(server.used);
}

std::uint64_t tag_of(const ConnectionServer& server, std::size_t place) {
  return server.places[place].order << PLACE_BITS | place;
}

std::size_t place_of(std::uint64_t tag) {
  return static_cast<std::size_t>(tag & ((1U << PLACE_BITS) - 1));
}

void watch_place(ConnectionServer& server, std::size_t place, std::uint32_t events) {
  Connection& connection = server.connections[place];
  if (connection.watched == events) return;
  epoll_event event{.events = events, .data{.u64 = tag_of(server, place)}};
  const int change = connection.is_watched ? EPOLL_CTL_MOD : EPOLL_CTL_ADD;
  (void)epoll_ctl(server.epoll, change, connection.fd, &event);
  connection.is_watched = true;
  connection.watched = events;
}

void drop_place(ConnectionServer& server, std::size_t place) {
  Connection& connection = server.connections[place];
  OPENSSL_cleanse(server.inputs[place].data(), connection.have);
  close(connection.fd);  // which epoll notices
  connection = Connection{};
  server.places[place] = Place{};
  while (server.used > 0 && server.places[server.used - 1].stage == Stage::FREE) --server.used;
}

void drop_for_newcomer(ConnectionServer& server, std::size_t place) {
  if (server.places[place].stage == Stage::ASKING) {
    server.handlers.displaced(server.places[place].ip);
  }
  drop_place(server, place);
}

std::optional<std::size_t> take_place(ConnectionServer& server, int fd, std::uint32_t ip,
                                      bool tls) {
  for (;;) {
    const Admission admission = admit(used_places(server), server.bounds, ip, tls);
    if (!admission.is_over) break;
    if (!admission.victim) {
      server.handlers.displaced(ip);
      close(fd);
      return {};
    }
    drop_for_newcomer(server, *admission.victim);
  }
  const auto free = std::find_if(server.places.begin(), server.places.end(),
                                 [](const Place& place) { return place.stage == Stage::FREE; });
  *free = {.stage = Stage::ASKING, .tls = tls, .ip = ip, .order = ++server.last_order};
  const auto place = static_cast<std::size_t>(free - server.places.begin());
  server.used = std::max(server.used, place + 1);
  server.connections[place].fd = fd;
  return place;
}

}  // namespace webauth
