#include <sys/socket.h>
#include <unistd.h>

#include <filesystem>
#include <functional>

#include "kernel/transport.h"
#include "platform/kernel_endpoint.h"
#include "support/world.h"

namespace webauth {
namespace {

namespace fs = std::filesystem;

constexpr char LOGIN[] = "/tmp/K5localsocket_login";
constexpr char CONTROL[] = "/tmp/K5localsocket";
constexpr char LIST[] = "/tmp/web_user_reg_file";

const Lines STARTED = {"R1 0 K5 syslog.webauth_enable "};

std::string mail_settings(std::size_t host_length, const std::string& port) {
  return "WEBAUTH_POP3SERVER=" + std::string(host_length, 'h') + "\nWEBAUTH_POP3SPORT=" + port +
         "\n";
}

class StartUpTest : public World {};

TEST_F(StartUpTest, TellsLogAndKernelThatItServes) {
  const struct {
    const char* name;
    Options options;
    const char* output = "";
  } rows[] = {
      {"-d and an operand", {"", {"-d", "operand"}}},
      {"unknown option", {"", {"-x", "-d"}}, "webauthd: invalid option -- 'x'\n"},
      {"longest mail settings", {"WEBAUTH_SECTYPE=EMAIL\n" + mail_settings(63, "123456")}},
      {"long mail settings are not read", {mail_settings(64, "1234567")}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    reset();
    for (const char* stale : {LOGIN, CONTROL, LIST}) write_file(stale, "stale");
    start(row.options);
    EXPECT_EQ(STARTED, log());
    EXPECT_EQ((Lines{"360: 178 0 0 pid 168 6", "360: 178 0 0 pid 168 7 708 1c20"}), kernel());
    EXPECT_TRUE(fs::is_socket(LOGIN) && fs::is_socket(CONTROL) && !fs::exists(LIST));
    const std::string outputs = output();
    EXPECT_TRUE(outputs.ends_with(row.output) && outputs.empty() == !*row.output) << outputs;
  }
  start();  // over the sockets of a daemon that was killed
  close_kernel_side();
  EXPECT_EQ("300: 1", login("10.0.0.1", "m")) << "does not notice that the kernel side has gone";
  EXPECT_EQ(" 10.0.0.1 m NOW 0 \n", published());
}

TEST_F(StartUpTest, EndsWithStatus1) {
  const std::string email = "WEBAUTH_SECTYPE=EMAIL\n";
  const struct {
    const char* name;
    std::string settings;
    std::function<void()> prepare;
    bool login_socket = false, control_socket = false;
  } rows[] = {
      {"long host", email + mail_settings(64, "110"), [] {}},
      {"long port", email + mail_settings(1, "0000110"), [] {}},
      {"no login socket", "", [] { fs::create_directory(LOGIN); }},
      {"no control socket", "", [] { fs::create_directory(CONTROL); }, true},
      {"no kernel side", "", [this] { close_kernel_side(); }, true, true},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    reset();
    fs::create_directory(LIST);
    row.prepare();
    EXPECT_EQ(1, run_to_end({row.settings}));
    EXPECT_EQ(STARTED, log());
    EXPECT_EQ(Lines{}, kernel());
    EXPECT_FALSE(fs::exists(LIST));
    EXPECT_EQ(row.login_socket, fs::is_socket(LOGIN));
    EXPECT_EQ(row.control_socket, fs::is_socket(CONTROL));
  }
}

TEST_F(StartUpTest, NoKernelModule) {
  if (const int fd = socket(AF_NETLINK, SOCK_RAW, NETLINK_WEBAUTH); fd >= 0) {
    close(fd);
    GTEST_SKIP() << "netlink protocol 21 is taken by something else on this machine";
  }
  EXPECT_EQ(1, run_to_end({"", {}, {"WEBAUTHD_KERNEL_PORT="}}));
  EXPECT_EQ(STARTED, log());
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
