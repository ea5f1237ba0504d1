// The portal under floods of connections, with 300 descriptors.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>

#include <deque>

#include "common/clock.h"
#include "common/fd_guard.h"
#include "tests/support/neighbours.h"

namespace webauth {
namespace {

constexpr std::int64_t SECOND = 1'000'000;  // of the steady clock
constexpr char MAKE_CERTIFICATE[] =
    "cd /tmp; openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -subj /CN=a "
    "-keyout key -out cert 2>/tmp/openssl";
// Twenty visitors over plain HTTP, or over TLS, who have two seconds.
constexpr char HONEST[] =
    "for i in $(seq 20); do curl -sk -m 2 -o /tmp/page -w '%{http_code} ' --interface "
    "127.9.0.$i ";

class PortalFlood : public testing::Test {
 protected:
  PortalFlood() {
    enter_sandbox();
    run(MAKE_CERTIFICATE);
    portal_.launch(
        "ulimit -n 300; exec webauth-portal --lan lo --name a --cert /tmp/cert --key /tmp/key");
    portal_.wait_until(Sleep::POLL);
  }

  std::string run(const std::string& text) {
    Program shell;
    shell.launch(text);
    (void)shell.wait_until(Sleep::DEAD);
    return shell.output();
  }

  // Whoever is in the clear is led to the page.
  void expect_honest_ones_served() {
    const auto all = [](const std::string& status) {
      std::string text;
      for (int i = 0; i < 20; ++i) text += status;
      return text;
    };
    EXPECT_EQ(all("302 "), run(std::string(HONEST) + "http://127.0.0.1:8080/; done"));
    EXPECT_EQ(all("200 "), run(std::string(HONEST) + "-H Host:a https://127.0.0.1:8443/; done"));
  }

  // From an address of this number, with these first bytes.
  void open(int port, unsigned address, std::string_view bytes) {
    const FdGuard& client = clients_.emplace_back(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in from{}, to{};
    from.sin_family = to.sin_family = AF_INET;
    from.sin_addr.s_addr = htonl(0x7f010000 + address);
    to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    to.sin_port = htons(static_cast<std::uint16_t>(port));
    (void)bind(client.get(), reinterpret_cast<sockaddr*>(&from), sizeof from);
    require(connect(client.get(), reinterpret_cast<sockaddr*>(&to), sizeof to) == 0, "connect");
    (void)send(client.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
  }

  const FdGuard log_{open_log_sink()};
  Program portal_;
  std::deque<FdGuard> clients_;
};

TEST_F(PortalFlood, HonestVisitorsAreServedAndEverythingIsGivenBack) {
  expect_honest_ones_served();  // and what is had once is had
  const auto descriptors = open_descriptors(portal_.pid());
  const auto memory = status_number(portal_.pid(), "VmRSS:");
  for (const int port : {8443, 8080}) {
    for (const std::string bytes : {"", "\x16\3\1", "GET / HTTP/1.1\r\nX: "}) {
      clients_.clear();
      for (unsigned i = 0; i < 1'000; ++i) open(port, 1 + i % 50, bytes);
      expect_honest_ones_served();
    }
  }
  const std::int64_t begun = steady_microseconds();
  while (open_descriptors(portal_.pid()) > descriptors &&
         steady_microseconds() - begun < 15 * SECOND) {
    for (const FdGuard& client : clients_) (void)send(client.get(), "x", 1, MSG_NOSIGNAL);  // drips
    poll(nullptr, 0, 500);
  }
  EXPECT_GE(11 * SECOND, steady_microseconds() - begun);
  [[maybe_unused]] const auto grown = status_number(portal_.pid(), "VmRSS:") - memory;
#ifndef WEBAUTHD_SANITIZED
  EXPECT_GE(12'000, grown);
#endif
  const auto wakes = status_number(portal_.pid(), "voluntary_ctxt_switches:");
  poll(nullptr, 0, 1'000);
  EXPECT_EQ(wakes, status_number(portal_.pid(), "voluntary_ctxt_switches:"));
  Lines lines;
  for (std::string line; receive_now(log_.get(), line);) lines.push_back(line);
  EXPECT_EQ(2, lines.size()) << "that it serves, and that there was no room";
}

TEST_F(PortalFlood, OneAddressTakesNobodyElsesPlace) {
  const auto descriptors = open_descriptors(portal_.pid());
  open(8080, 1, "GET / HTTP/1.1\r\n");
  for (int i = 0; i < 200; ++i) open(8080, 2, "");
  send_whole(clients_[0].get(), "Host: b\r\n\r\n");
  char answer[32] = {};
  EXPECT_LT(0, recv(clients_[0].get(), answer, sizeof answer - 1, 0));
  EXPECT_TRUE(std::string(answer).starts_with("HTTP/1.1 302")) << answer;
  portal_.wait_until(Sleep::POLL);
  EXPECT_GE(descriptors + 9, open_descriptors(portal_.pid()));
}

}  // namespace
}  // namespace webauth
