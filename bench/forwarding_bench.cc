#include "bench/forwarding_bench.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <sched.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

#include "bench/running_gate.h"
#include "tests/support/neighbours.h"

namespace webauth {
namespace {

constexpr int PACKETS = 20'000;
constexpr std::size_t STREAM_BYTES = 64 << 20;

// A socket of another namespace, connected to port 9 of an address unless that is nullptr.
int socket_in(const char* place, int type, const char* to) {
  const FdGuard home(open("/proc/self/ns/net", O_RDONLY | O_CLOEXEC));
  const FdGuard there(open((std::string("/run/netns/") + place).c_str(), O_RDONLY | O_CLOEXEC));
  require(setns(there.get(), CLONE_NEWNET) == 0, place);
  const int fd = socket(AF_INET, type | SOCK_CLOEXEC, 0);
  require(fd >= 0 && setns(home.get(), CLONE_NEWNET) == 0, place);
  sockaddr_in name{};
  name.sin_family = AF_INET;
  name.sin_port = htons(9);
  name.sin_addr.s_addr = to == nullptr ? INADDR_ANY : inet_addr(to);
  const auto* generic = reinterpret_cast<const sockaddr*>(&name);
  require((to == nullptr ? bind(fd, generic, sizeof name) : connect(fd, generic, sizeof name)) == 0,
          place);
  return fd;
}

// Sends small packets, and takes what has arrived; most must.
Seconds send_packets(int from, int to) {
  char bytes[22]{};  // 64 with its headers
  int arrived = 0;
  const Seconds seconds = seconds_of([&] {
    for (int i = 0; i < PACKETS; ++i) {
      (void)send(from, bytes, sizeof bytes, 0);
      if (recv(to, bytes, sizeof bytes, MSG_DONTWAIT) > 0) ++arrived;
    }
  });
  require(arrived > PACKETS * 9 / 10, "packets");
  return seconds;
}

Seconds stream(const char* to, int listening) {
  const FdGuard from(socket_in("visitor", SOCK_STREAM, to));
  const FdGuard end(accept(listening, nullptr, nullptr));
  const pid_t writer = fork();
  std::vector<char> bytes(256 << 10);
  if (writer == 0) {
    for (std::size_t sent = 0; sent < STREAM_BYTES; sent += bytes.size())
      send_whole(from.get(), {bytes.data(), bytes.size()});
    _exit(0);
  }
  std::size_t got = 0;
  const Seconds seconds = seconds_of([&] {
    for (ssize_t count = 1; got < STREAM_BYTES && count > 0;
         got += static_cast<std::size_t>(count)) {
      count = std::max<ssize_t>(recv(end.get(), bytes.data(), bytes.size(), 0), 0);
    }
  });
  waitpid(writer, nullptr, 0);
  require(got >= STREAM_BYTES, "stream");
  return seconds;
}

}  // namespace

void measure_forwarding(Table& table) {
  RunningGate gate;
  gate.send(message_of(ADD_ENTRY, inet_addr("10.0.0.21"), ENTRY_USER));
  const FdGuard sink(socket_in("internet", SOCK_DGRAM, nullptr));
  const FdGuard listening(socket_in("internet", SOCK_STREAM, nullptr));
  require(listen(listening.get(), 5) == 0, "listen");
  const FdGuard held(socket_in("visitor", SOCK_DGRAM, "192.0.2.80"));
  const FdGuard open(socket_in("visitor", SOCK_DGRAM, "192.0.2.81"));
  std::uint32_t users = 0;
  for (const std::uint32_t wanted : {10U, 10'000U}) {
    gate.admit(users, wanted - users);
    users = wanted;
    measure_in_turns(
        table, {"gate: 20000 packets", users, 1.25}, 5,
        [&] { return send_packets(held.get(), sink.get()); },
        [&] { return send_packets(open.get(), sink.get()); });
    measure_in_turns(
        table, {"gate: stream of 64 MB", users, 1 / 0.75}, 3,
        [&] { return stream("192.0.2.80", listening.get()); },
        [&] { return stream("192.0.2.81", listening.get()); });
  }
}

}  // namespace webauth
