#include "portal/connection_server.h"

#include <netinet/in.h>
#include <sys/epoll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>
#include <stdexcept>

#include "common/address_text.h"
#include "common/clock.h"
#include "portal/connection_places.h"

namespace webauth {
namespace {

constexpr std::int64_t ASKING_TIME = 10'000'000;
constexpr std::int64_t ANSWERING_TIME = 10'000'000;
constexpr std::int64_t LINGERING_TIME = 2'000'000;
constexpr std::int64_t PAUSE = 100'000;
constexpr std::int64_t NEVER = std::numeric_limits<std::int64_t>::max();
constexpr int BACKLOG = 4096;  // the kernel has a bound of its own
constexpr int ACCEPTED_IN_ONE_GO = 64;

void finish(ConnectionServer& server, std::size_t place) {
  Connection& connection = server.connections[place];
  say_end(connection);
  // Closed with bytes unread, the connection would be reset and the answer perhaps lost.
  if (!connection.has_rest) return drop_place(server, place);
  server.places[place].stage = Stage::ANSWERED;
  connection.answer = {};
  connection.deadline = steady_microseconds() + LINGERING_TIME;
  watch_place(server, place, EPOLLIN);
}

void send_answer(ConnectionServer& server, std::size_t place) {
  Connection& connection = server.connections[place];
  while (connection.sent < connection.answer.size()) {
    const Transfer moved =
        transmit(connection, std::string_view(connection.answer).substr(connection.sent));
    if (moved.flow == Flow::ENDED) return drop_place(server, place);
    if (moved.flow != Flow::MOVED) {
      connection.answer.erase(0, connection.sent);  // who does not read is to cost little
      connection.answer.shrink_to_fit();
      connection.sent = 0;
      return watch_place(server, place, moved.flow == Flow::WANTS_INPUT ? EPOLLIN : EPOLLOUT);
    }
    connection.sent += moved.count;
  }
  finish(server, place);
}

void begin_answer(ConnectionServer& server, std::size_t place, const Response& response) {
  Connection& connection = server.connections[place];
  connection.answer = response_text(response, server.policy, connection.with_body);
  connection.deadline = steady_microseconds() + ANSWERING_TIME;
  server.places[place].stage = Stage::ANSWERING;
  send_answer(server, place);
}

// Goes as far with the request as its bytes allow.
void judge_input(ConnectionServer& server, std::size_t place) {
  Connection& connection = server.connections[place];
  if (connection.have < connection.wanted) return;
  char* const input = server.inputs[place].data();
  const HeadResult head = read_head({input, connection.have});
  if (head.status == 0) return;
  Visit visit{.request = head.request,
              .body{},
              .ip = server.places[place].ip,
              .tls = server.places[place].tls,
              .id{.place = place, .order = server.places[place].order}};
  const std::size_t size = head.request.head_size + head.request.body_size;
  connection.with_body = head.request.method != Method::HEAD;
  connection.has_rest =
      head.status != 200 || head.request.body_status != 0 || connection.have != size;
  std::optional<Response> response;
  if (head.status != 200) {
    response = plain_response(head.status);
  } else if (connection.wanted == 0) {
    response = server.handlers.judge(visit);
    connection.wanted = size;
  }
  if (!response && connection.have >= size) {
    visit.body = {input + head.request.head_size, head.request.body_size};
    response = server.handlers.serve(visit);
    if (!response) server.places[place].stage = Stage::UNDER_WAY;
    if (!response) connection.deadline = NEVER;
  }
  if (response) begin_answer(server, place, *response);
}

void read_request(ConnectionServer& server, std::size_t place) {
  Connection& connection = server.connections[place];
  const std::uint64_t order = server.places[place].order;
  if (server.places[place].tls && !connection.ssl) {
    if (!begin_tls(connection, server.tls.get())) return drop_place(server, place);
    if (!connection.ssl) return watch_place(server, place, EPOLLIN);
  }
  for (;;) {
    const auto room = std::span(server.inputs[place]).subspan(connection.have);
    const Transfer moved = receive(connection, room);
    if (moved.flow == Flow::ENDED) return drop_place(server, place);
    if (moved.flow != Flow::MOVED) {
      return watch_place(server, place, moved.flow == Flow::WANTS_OUTPUT ? EPOLLOUT : EPOLLIN);
    }
    connection.have += moved.count;
    judge_input(server, place);
    if (server.places[place].order != order) return;  // answered, and gone already
    if (server.places[place].stage != Stage::ASKING) return;
  }
}

bool is_want(int error) {
  return error == EMFILE || error == ENFILE || error == ENOBUFS || error == ENOMEM;
}

void watch_listeners(ConnectionServer& server, std::uint32_t events) {
  for (std::uint64_t tag = 0; tag < LISTENER_TAGS; ++tag) {
    epoll_event event{.events = events, .data{.u64 = tag}};
    (void)epoll_ctl(server.epoll, EPOLL_CTL_MOD, server.listeners[tag], &event);
  }
}

// False when the newcomer has asked at once.
bool welcome(ConnectionServer& server, int fd, std::uint32_t ip, bool tls) {
  const auto place = take_place(server, fd, ip, tls);
  if (!place) return true;
  server.connections[*place].deadline = steady_microseconds() + ASKING_TIME;
  read_request(server, *place);  // which is often there already
  return server.places[*place].stage == Stage::ASKING;
}

}  // namespace

void listen_at(ConnectionServer& server, std::uint32_t address, std::uint16_t port, bool tls) {
  const int fd = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  const int on = 1;
  sockaddr_in place{};
  place.sin_family = AF_INET;
  place.sin_addr.s_addr = address;
  place.sin_port = htons(port);
  epoll_event event{.events = EPOLLIN, .data{.u64 = tls ? 1U : 0U}};
  if (fd < 0 || setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) != 0 ||
      bind(fd, reinterpret_cast<const sockaddr*>(&place), sizeof place) != 0 ||
      listen(fd, BACKLOG) != 0 || epoll_ctl(server.epoll, EPOLL_CTL_ADD, fd, &event) != 0) {
    throw std::runtime_error("cannot listen on " + ip_text(address) + ':' + std::to_string(port) +
                             ": " + std::strerror(errno));
  }
  server.listeners[tls ? 1 : 0] = fd;
}

void accept_connections(ConnectionServer& server, bool tls) {
  for (int i = 0; i < ACCEPTED_IN_ONE_GO; ++i) {
    sockaddr_in peer{};
    socklen_t size = sizeof peer;
    const int fd = accept4(server.listeners[tls ? 1 : 0], reinterpret_cast<sockaddr*>(&peer), &size,
                           SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (fd >= 0) {
      if (welcome(server, fd, peer.sin_addr.s_addr, tls)) continue;
      return;  // who asks at once comes alone as a rule; otherwise epoll tells again
    }
    if (!is_want(errno)) return;
    if (const auto victim = find_victim(used_places(server), 0)) {
      drop_for_newcomer(server, *victim);
      continue;
    }
    server.paused_until = steady_microseconds() + PAUSE;
    return watch_listeners(server, 0);
  }
}

void serve_connection(ConnectionServer& server, std::uint64_t tag, std::uint32_t events) {
  const std::size_t place = place_of(tag);
  if (tag != tag_of(server, place)) return;  // of one that has gone in this very pass
  switch (server.places[place].stage) {
    case Stage::FREE:
      return;
    case Stage::ASKING:
      return read_request(server, place);
    case Stage::UNDER_WAY:
      if ((events & (EPOLLHUP | EPOLLERR)) != 0) return drop_place(server, place);
      return watch_place(server, place, 0);
    case Stage::ANSWERING:
      return send_answer(server, place);
    case Stage::ANSWERED:
      if (!discard_input(server.connections[place])) drop_place(server, place);
      return;
  }
}

void expire_connections(ConnectionServer& server, std::int64_t now) {
  if (server.paused_until != 0 && server.paused_until <= now) {
    server.paused_until = 0;
    watch_listeners(server, EPOLLIN);
  }
  for (std::size_t place = 0; place < server.used; ++place) {
    if (server.places[place].stage == Stage::FREE) continue;
    if (server.connections[place].deadline <= now) drop_place(server, place);
  }
}

std::int64_t next_deadline(const ConnectionServer& server) {
  std::int64_t next = server.paused_until != 0 ? server.paused_until : NEVER;
  for (std::size_t place = 0; place < server.used; ++place) {
    if (server.places[place].stage == Stage::FREE) continue;
    next = std::min(next, server.connections[place].deadline);
  }
  return next;
}

bool answer_later(ConnectionServer& server, ConnectionId id, const Response& response) {
  if (id.place >= server.places.size() || server.places[id.place].order != id.order) return false;
  begin_answer(server, id.place, response);
  return true;
}

}  // namespace webauth
