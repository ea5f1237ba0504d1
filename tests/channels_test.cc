#include <arpa/inet.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstddef>
#include <deque>
#include <set>

#include "common/clock.h"
#include "daemon/platform/kernel_endpoint.h"
#include "tests/support/world_test.h"

namespace webauth {
namespace {

const std::string ONLINE_END = "  - webident - -v ident.onekeyident ident.webidentup";

class LoginChannelTest : public WorldTest {
 protected:
  [[nodiscard]] std::int64_t processor_microseconds() const {
    clockid_t clock{};
    timespec used{};
    clock_getcpuclockid(daemon.pid(), &clock);
    clock_gettime(clock, &used);
    return used.tv_sec * std::int64_t{1'000'000} + used.tv_nsec / 1'000;
  }

  // After its first line the daemon keeps a connection to the system log.
  void start_with_a_login() {
    start();
    login("10.9.9.9", "first");
    log();
    descriptors_ = open_descriptors(daemon.pid());
  }

  // The clients of the online lines since the last call: "<ip> <mac>".
  Lines logged_clients() {
    Lines clients;
    for (const std::string& line : log()) {
      if (!line.ends_with(ONLINE_END)) continue;
      clients.push_back(line.substr(15, line.size() - 15 - ONLINE_END.size()));
    }
    return clients;
  }

  std::ptrdiff_t descriptors_ = 0;
};

TEST_F(LoginChannelTest, RequestsOfEveryLength) {
  start_with_a_login();
  const std::string ip = "10.0.0.9", mac = "0a:1b:2c:3d:4e:5f";
  std::string whole(1000, '\xff');  // every other field is full and has no end
  whole.replace(0, 4, {"\2\0\0\0", 4});
  whole.replace(148, 40, login_request(ip, mac), 148, 40);
  std::set<std::string> admitted;
  for (std::size_t length = 0; length <= 1000; length += length < 302 ? 1 : 698) {
    SCOPED_TRACE(length);
    const std::string got_ip = ip.substr(0, length < 148 ? 0 : length - 148);
    const std::string got_mac = mac.substr(0, length < 164 ? 0 : length - 164);
    const bool parses = inet_addr(got_ip.c_str()) != INADDR_NONE;
    const bool known = admitted.contains(got_ip);
    const FrontEnd client;
    client.send(whole.substr(0, length));
    EXPECT_EQ(length == 0 || known ? Lines{} : Lines{got_ip + " " + got_mac}, logged_clients());
    EXPECT_EQ(length > 0 && parses && !known ? "300: 1" : "", client.reply());
    if (parses) admitted.insert(got_ip);
  }
  EXPECT_EQ(descriptors_, open_descriptors(daemon.pid()));
}

TEST_F(LoginChannelTest, SlowFrontEndsAreAllAnswered) {
  start();
  std::deque<FrontEnd> clients(20);
  EXPECT_EQ(0, poll(nullptr, 0, 50));
  for (std::size_t i = 0; i < clients.size(); ++i) {
    clients[i].send(login_request("10.0.0." + std::to_string(i), "m"));
  }
  settle();
  for (const FrontEnd& client : clients) EXPECT_EQ("300: 1", client.reply());
  EXPECT_EQ(20u, logged_clients().size());
}

TEST_F(LoginChannelTest, SilentFrontEndIsDisplacedAfterATenthOfASecond) {
  start_with_a_login();
  const std::int64_t begun = steady_microseconds();
  const std::int64_t used = processor_microseconds();
  const FrontEnd silent;
  settle();
  EXPECT_EQ("300: 1", login("10.0.0.1", "m"));
  EXPECT_LE(99'000, steady_microseconds() - begun) << "displaced early";
  EXPECT_EQ("", silent.reply());
  const FrontEnd late;  // nobody waits behind this one, so it may take its time
  EXPECT_EQ(0, poll(nullptr, 0, 300));
  late.send(login_request("10.0.0.2", "m"));
  EXPECT_EQ("300: 1", late.reply());
  EXPECT_GE(200'000, processor_microseconds() - used) << "does not sleep while it waits";
  settle();
  EXPECT_EQ(descriptors_, open_descriptors(daemon.pid()));
}

TEST_F(LoginChannelTest, WantOfDescriptorsIsSleptThrough) {
  start_with_a_login();
  rlimit limit{};
  ASSERT_EQ(0, prlimit(daemon.pid(), RLIMIT_NOFILE, nullptr, &limit));
  const rlimit none{.rlim_cur = 3, .rlim_max = limit.rlim_max};
  ASSERT_EQ(0, prlimit(daemon.pid(), RLIMIT_NOFILE, &none, nullptr));
  const std::int64_t used = processor_microseconds();
  const FrontEnd client;
  client.send(login_request("10.0.0.1", "m"));
  EXPECT_EQ(0, poll(nullptr, 0, 500));
  EXPECT_GE(100'000, processor_microseconds() - used);
  prlimit(daemon.pid(), RLIMIT_NOFILE, &limit, nullptr);
  EXPECT_EQ("300: 1", client.reply());
}

class KernelChannelTest : public WorldTest {};

TEST_F(KernelChannelTest, NoKernelModule) {
  if (const int fd = socket(AF_NETLINK, SOCK_RAW, NETLINK_WEBAUTH); fd >= 0) {
    close(fd);
    GTEST_SKIP() << "netlink protocol 21 is taken by something else on this machine";
  }
  setenv("WEBAUTHD_KERNEL_PORT", "", 1);
  launch("");
  EXPECT_EQ(1, wait_for_end());
  EXPECT_EQ(Lines{"R1 0 K5 syslog.webauth_enable "}, log());
}

TEST_F(KernelChannelTest, OnlyTheKernelSideIsHeard) {
  start();
  const int stranger = socket(AF_NETLINK, SOCK_RAW, NETLINK_USERSOCK);
  const sockaddr_nl peer = netlink_address(static_cast<std::uint32_t>(daemon.pid()));
  const auto* address = reinterpret_cast<const sockaddr*>(&peer);
  EXPECT_EQ(-1, sendto(stranger, "x", 1, 0, address, sizeof peer));
  close(stranger);
}

}  // namespace
}  // namespace webauth
