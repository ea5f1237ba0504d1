// The daemon's sockets under front ends that are odd, slow, silent or many, and under want.
#include <arpa/inet.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/syscall.h>

#include <algorithm>
#include <memory>
#include <set>

#include "common/clock.h"
#include "common/fd_guard.h"
#include "daemon/control/control_message.h"
#include "daemon/kernel/kernel_message.h"
#include "daemon/platform/kernel_endpoint.h"
#include "tests/support/world_test.h"

namespace webauth {
namespace {

class ChannelsTest : public WorldTest {
 protected:
  // After its first line the daemon keeps a connection to the system log.
  void start_with_a_login() {
    start();
    login("10.9.9.9", "first");
    effects();
    descriptors_ = open_descriptors(daemon.pid());
  }

  void limit(int resource, std::uint64_t most) {
    std::uint64_t limits[2];  // now, and at most
    require(syscall(SYS_prlimit64, daemon.pid(), resource, nullptr, limits) == 0, "prlimit64");
    limits[0] = most;
    require(syscall(SYS_prlimit64, daemon.pid(), resource, limits, nullptr) == 0, "prlimit64");
  }

  [[nodiscard]] std::int64_t processor_microseconds() const {
    clockid_t clock{};
    timespec used{};
    clock_getcpuclockid(daemon.pid(), &clock);
    clock_gettime(clock, &used);
    return used.tv_sec * std::int64_t{1'000'000} + used.tv_nsec / 1'000;
  }

  std::ptrdiff_t descriptors_ = 0;
};

TEST_F(ChannelsTest, RequestsOfEveryLength) {
  start_with_a_login();
  const std::string ip = "10.0.0.9", mac = "0a:1b:2c:3d:4e:5f";
  std::string whole(1000, '\xff');  // every other field is full and has no end
  whole.replace(0, 4, {"\2\0\0\0", 4}).replace(148, 40, login_request(ip, mac), 148, 40);
  std::set<std::string> admitted;
  for (std::size_t length = 0; length <= 1000; length += length < 302 ? 1 : 698) {
    SCOPED_TRACE(length);
    const std::string got_ip = ip.substr(0, length < 148 ? 0 : length - 148);
    const std::string got_mac = mac.substr(0, length < 164 ? 0 : length - 164);
    const bool parses = inet_addr(got_ip.c_str()) != INADDR_NONE;
    const bool is_new = length > 0 && !admitted.contains(got_ip);
    const FdGuard client(connect_front_end());
    length > 0 ? send_whole(client.get(), whole.substr(0, length))
               : void(shutdown(client.get(), SHUT_WR));
    const std::string line = "line " + got_ip + " " + got_mac + "  - webident - -v ident.onekey";
    const Lines seen = effects();
    EXPECT_EQ(is_new, std::any_of(seen.begin(), seen.end(),
                                  [&](const std::string& text) { return text.starts_with(line); }));
    EXPECT_EQ(parses && is_new ? "300: 1" : "", reply_to(client.get()));
    if (parses) admitted.insert(got_ip);
  }
  EXPECT_EQ(descriptors_, open_descriptors(daemon.pid()));
}

TEST_F(ChannelsTest, SlowFrontEndsAreAllAnswered) {
  start();
  std::vector<std::unique_ptr<FdGuard>> clients;
  for (int i = 0; i < 20; ++i) clients.push_back(std::make_unique<FdGuard>(connect_front_end()));
  poll(nullptr, 0, 50);
  for (std::size_t i = 0; i < clients.size(); ++i) {
    send_whole(clients[i]->get(), login_request("10.0.0." + std::to_string(i), "m"));
  }
  settle();
  for (const auto& client : clients) EXPECT_EQ("300: 1", reply_to(client->get()));
}

TEST_F(ChannelsTest, SilentFrontEndIsDisplacedAfterATenthOfASecond) {
  start_with_a_login();
  const std::int64_t begun = steady_microseconds(), used = processor_microseconds();
  const FdGuard silent(connect_front_end());
  settle();
  EXPECT_EQ("300: 1", login("10.0.0.1", "m"));
  EXPECT_LE(99'000, steady_microseconds() - begun) << "displaced early";
  EXPECT_GE(900'000, steady_microseconds() - begun) << "displaced late";
  EXPECT_EQ("", reply_to(silent.get()));
  const FdGuard late(connect_front_end());  // nobody waits behind this one: it may take its time
  poll(nullptr, 0, 300);
  send_whole(late.get(), login_request("10.0.0.2", "m"));
  EXPECT_EQ("300: 1", reply_to(late.get()));
  EXPECT_GE(200'000, processor_microseconds() - used) << "does not sleep while it waits";
  settle();
  EXPECT_EQ(descriptors_, open_descriptors(daemon.pid()));
}

TEST_F(ChannelsTest, WantOfDescriptorsIsSleptThroughOrEndedByDisplacing) {
  start_with_a_login();
  limit(RLIMIT_NOFILE, 3);
  const std::int64_t used = processor_microseconds();
  const FdGuard waiting(connect_front_end());
  send_whole(waiting.get(), login_request("10.0.0.1", "m"));
  poll(nullptr, 0, 500);
  EXPECT_GE(100'000, processor_microseconds() - used);
  limit(RLIMIT_NOFILE, 1024);
  EXPECT_EQ("300: 1", reply_to(waiting.get()));
  const FdGuard silent(connect_front_end());
  settle();
  limit(RLIMIT_NOFILE, static_cast<std::uint64_t>(open_descriptors(daemon.pid())));
  EXPECT_EQ("300: 1", login("10.0.0.2", "m")) << "over the silent one's descriptor";
  limit(RLIMIT_NOFILE, 1024);
}

#ifndef WEBAUTHD_SANITIZED  // its allocator would abort
TEST_F(ChannelsTest, WantOfMemoryEndsTheDaemonWithStatus1) {
  start();
  limit(RLIMIT_AS, static_cast<std::uint64_t>(status_number(daemon.pid(), "VmSize:")) * 1'024);
  for (int i = 0; i < 100'000 && rest(); ++i) control(bytes_of(AddAccountMessage{}));
  EXPECT_EQ(1, wait_for_end());
}
#endif

TEST_F(ChannelsTest, AThousandReportsWaitOutABusyDaemon) {
  start_with_a_login();
  KernelMessage report{};
  report.command = ENTRY_ONLINE;
  kill(daemon.pid(), SIGSTOP);
  for (int i = 0; i < 1'000; ++i) kernel_event(bytes_of(report));
  kill(daemon.pid(), SIGCONT);
  EXPECT_EQ(1'000U, events().size());
}

TEST_F(ChannelsTest, NoKernelModule) {
  if (const int fd = socket(AF_NETLINK, SOCK_RAW, NETLINK_WEBAUTH); fd >= 0) {
    close(fd);
    GTEST_SKIP() << "netlink protocol 21 is taken by something else on this machine";
  }
  launch("WEBAUTHD_KERNEL_PORT= exec webauthd");
  EXPECT_EQ(1, wait_for_end());
  EXPECT_EQ(Lines{"event syslog.webauth_enable "}, effects());
}

TEST_F(ChannelsTest, OnlyTheKernelSideIsHeard) {
  start();
  const FdGuard stranger(socket(AF_NETLINK, SOCK_RAW, NETLINK_USERSOCK));
  const sockaddr_nl peer = netlink_address(static_cast<std::uint32_t>(daemon.pid()));
  const auto* address = reinterpret_cast<const sockaddr*>(&peer);
  EXPECT_EQ(-1, sendto(stranger.get(), "x", 1, 0, address, sizeof peer));
}

}  // namespace
}  // namespace webauth
