// The daemon's sockets under front ends that are cut short, slow, silent or many, and under want;
// its start while others write the walled garden's files.
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/syscall.h>

#include <fstream>

#include "common/clock.h"
#include "common/fd_guard.h"
#include "daemon/control/control_message.h"
#include "daemon/kernel/kernel_message.h"
#include "daemon/platform/kernel_endpoint.h"
#include "daemon/platform/settings_store.h"
#include "daemon/wechat/walled_garden.h"
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
    used_ = processor_microseconds();
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
    return used.tv_sec * std::int64_t{1'000'000} + used.tv_nsec / 1'000 - used_;
  }

  std::ptrdiff_t descriptors_ = 0;
  std::int64_t used_ = 0;
};

TEST_F(ChannelsTest, SilentFrontEndIsDisplacedAfterATenthOfASecond) {
  start_with_a_login();
  const std::int64_t begun = steady_microseconds();
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
  EXPECT_GE(200'000, processor_microseconds()) << "does not sleep while it waits";
  settle();
  EXPECT_EQ(descriptors_, open_descriptors(daemon.pid()));
}

TEST_F(ChannelsTest, WantOfDescriptorsIsSleptThroughOrEndedByDisplacing) {
  start_with_a_login();
  limit(RLIMIT_NOFILE, 3);
  const FdGuard waiting(connect_front_end());
  send_whole(waiting.get(), login_request("10.0.0.1", "m"));
  poll(nullptr, 0, 500);
  EXPECT_GE(100'000, processor_microseconds());
  limit(RLIMIT_NOFILE, 1024);
  EXPECT_EQ("300: 1", reply_to(waiting.get()));
  const FdGuard silent(connect_front_end());
  settle();
  limit(RLIMIT_NOFILE, static_cast<std::uint64_t>(open_descriptors(daemon.pid())));
  EXPECT_EQ("300: 1", login("10.0.0.2", "m")) << "over the silent one's descriptor";
  limit(RLIMIT_NOFILE, 1024);
}

#ifndef WEBAUTHD_SANITIZED
TEST_F(ChannelsTest, WantOfMemoryEndsTheDaemonWithStatus1) {
  start();
  const std::int64_t size = status_number(daemon.pid(), "VmSize:");
  if (sizeof(void*) == 4 && size > 4'000'000) GTEST_SKIP() << "an emulator has taken all addresses";
  limit(RLIMIT_AS, static_cast<std::uint64_t>(size) * 1'024);
  for (int i = 0; i < 100'000 && daemon.pid() > 0; ++i) {
    control(bytes_of(AddAccountMessage{}));
    settle();
  }
  EXPECT_EQ(Lines{"status 1"}, effects("exit"));
}
#endif

TEST_F(ChannelsTest, AThousandReportsWaitOutABusyDaemon) {
  start_with_a_login();
  const KernelMessage report{};
  daemon.send(SIGSTOP);
  for (int i = 0; i < 1'000; ++i) kernel_event(bytes_of(report));
  daemon.send(SIGCONT);
  EXPECT_EQ(1'000U, effects("event").size());
}

TEST_F(ChannelsTest, OnlyTheKernelSideIsHeard) {
  start();
  const FdGuard stranger(socket(AF_NETLINK, SOCK_RAW, NETLINK_USERSOCK));
  const sockaddr_nl peer = netlink_address(static_cast<std::uint32_t>(daemon.pid()));
  const auto* address = reinterpret_cast<const sockaddr*>(&peer);
  EXPECT_EQ(-1, sendto(stranger.get(), "x", 1, 0, address, sizeof peer));
}

// The daemon waits for the lock, then goes one message after the other: when it is at the third
// host, the first is told an address, which all others have.
TEST_F(ChannelsTest, GardenWaitsForTheWriterOfItsNamesAndTriesHostsOnceMore) {
  watch_order();
  write_file(DEFAULT_SETTINGS_FILE, "WEBAUTH_SECTYPE=WEIXIN\n");
  write_file(GARDEN_NAME_FILE, "a.b\nlocalhost\n\nno.line.end");
  std::ofstream hosts("/etc/hosts", std::ios::app);
  for (const WechatHost* host = &wechat_hosts[1]; host->host != nullptr; ++host) {
    hosts << "10.9.0.2 " << host->host << std::endl;
  }
  int fd = open(GARDEN_NAME_FILE, O_WRONLY | O_APPEND | O_CLOEXEC);
  struct flock lock {};
  lock.l_type = F_WRLCK;
  require(fcntl(fd, F_SETLK, &lock) == 0, "lock");
  launch();
  daemon.wait_until(Sleep::OTHER, [this] { go_on(); });
  require(write(fd, ".second\nno.end", 14) == 14, "write");
  close(fd);
  for (int seen = 0; seen < 9; ++seen) {
    daemon.wait_until(Sleep::SENDMSG, [] {});
    go_on();
  }
  hosts << "10.9.0.1 weixin.qq.com" << std::endl;
  EXPECT_EQ("300: 1", login("10.0.0.1", "m"));
  const Lines sent = effects("kernel");
  ASSERT_EQ(2U + 2U + 13U + 12U + 1U + 1U, sent.size());
  EXPECT_EQ("52: 34 0 0 pid 1 b 0 6 0 0 0 80008 62016101", sent[2]);
  EXPECT_EQ("68: 44 0 0 pid 4 d 0 6 0 0 0 80010 5787702 676f6c71 6e63026f 10008 200090a", sent[28]);
  EXPECT_EQ("72: 48 0 0 pid 4 d 0 6 0 0 0 80012 69657706 26e6978 63037171 6d6f 10008 100090a",
            sent[29])
      << "tried again, and only this";
}

}  // namespace
}  // namespace webauth
