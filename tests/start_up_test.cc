#include <sys/socket.h>
#include <unistd.h>

#include "kernel/transport.h"
#include "platform/kernel_endpoint.h"
#include "support/world.h"

namespace webauth {
namespace {

class StartUpTest : public World {};

TEST_F(StartUpTest, NoKernelModule) {
  if (const int fd = socket(AF_NETLINK, SOCK_RAW, NETLINK_WEBAUTH); fd >= 0) {
    close(fd);
    GTEST_SKIP() << "netlink protocol 21 is taken by something else on this machine";
  }
  setenv("WEBAUTHD_KERNEL_PORT", "", 1);
  EXPECT_EQ(1, run_to_end(""));
  unsetenv("WEBAUTHD_KERNEL_PORT");
  EXPECT_EQ(Lines{"R1 0 K5 syslog.webauth_enable "}, log());
}

TEST_F(StartUpTest, OnlyTheKernelSideIsHeard) {
  start();
  const int stranger = socket(AF_NETLINK, SOCK_RAW, NETLINK_USERSOCK);
  const sockaddr_nl daemon = netlink_address(static_cast<std::uint32_t>(pid_));
  const auto* address = reinterpret_cast<const sockaddr*>(&daemon);
  EXPECT_EQ(-1, sendto(stranger, "x", 1, 0, address, sizeof daemon));
  close(stranger);
}

TEST(Transport, KnowsTwoTransports) {
  int pair[2];
  ASSERT_EQ(0, socketpair(AF_UNIX, SOCK_DGRAM, 0, pair));
  char byte = 0;
  EXPECT_EQ(-1, send_message(2, pair[0], "x", 1));
  EXPECT_EQ(1, send(pair[0], "y", 1, 0));
  EXPECT_EQ(-1, receive_message(-1, pair[1], &byte, 1));
  for (const int fd : pair) close(fd);
}

}  // namespace
}  // namespace webauth
