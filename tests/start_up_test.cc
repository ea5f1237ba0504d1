#include <linux/netlink.h>
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

std::string timeouts(std::uint32_t idle, std::uint32_t maximum) {
  const std::uint32_t words[90] = {376, 0, 0, 0xabc, 360, 7, idle, maximum};
  return record_text(bytes_of(words), 0xabc);
}

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
      {"no settings", {""}},
      {"-d", {"", {"-d"}}},
      {"unknown option", {"", {"-x", "-d"}}, "webauthd: invalid option -- 'x'\n"},
      {"operand", {"", {"operand"}}},
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
    std::string outputs = output();
    EXPECT_TRUE(outputs.ends_with(row.output) && outputs.empty() == !*row.output) << outputs;
  }
  start();  // over the sockets of a daemon that was killed
  EXPECT_EQ("300: 1", login("10.0.0.1", "m"));
}

TEST_F(StartUpTest, EndsWithStatus1) {
  const std::string email = "WEBAUTH_SECTYPE=EMAIL\n";
  const std::function<void()> nothing = [] {};
  const struct {
    const char* name;
    Options options;
    std::function<void()> prepare;
    bool login_socket = false, control_socket = false;
  } rows[] = {
      {"long host", {email + mail_settings(64, "110")}, nothing},
      {"long port", {email + mail_settings(1, "0000110")}, nothing},
      {"no login socket", {""}, [] { fs::create_directory(LOGIN); }},
      {"no control socket", {""}, [] { fs::create_directory(CONTROL); }, true},
      {"no kernel side", {""}, [this] { close_kernel_side(); }, true, true},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    reset();
    write_file(LIST, "stale");
    row.prepare();
    EXPECT_EQ(1, run_to_end(row.options));
    EXPECT_EQ("", output());
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

TEST(KernelEndpoint, IsThePortThatTheEnvironmentNames) {
  for (const char* port : {"", "gate", "7 ", " 7", "0x7", "-1", "+7", "4294967296"}) {
    setenv("WEBAUTHD_KERNEL_PORT", port, 1);
    const KernelEndpoint module = kernel_endpoint();
    EXPECT_TRUE(module.protocol == 21 && module.peer_port == 0 && !module.connect_to_peer) << port;
  }
  setenv("WEBAUTHD_KERNEL_PORT", "4294967295", 1);
  const KernelEndpoint gate = kernel_endpoint();
  EXPECT_TRUE(gate.protocol == NETLINK_USERSOCK && gate.peer_port == ~0u && gate.connect_to_peer);
  unsetenv("WEBAUTHD_KERNEL_PORT");
  EXPECT_EQ(21, kernel_endpoint().protocol);
}

TEST_F(StartUpTest, TimeoutsPerModeAndValue) {
  const struct {
    const char *value, *text;
    std::uint32_t mode_idle, mode_maximum, idle, maximum;
  } values[] = {
      {"missing", nullptr, 1800, 7200, 1800, 7200},
      {"empty", "", 1800, 7200, 1800, 7200},
      {"zero", "0", 0, 0, 600, 2'592'000},
      {"no digits", "x5", 0, 0, 600, 2'592'000},
      {"a number", "25x", 1500, 1500, 1500, 1500},
      {"negative", "-1", 0u - 60, 0u - 60, 0u - 60, 0u - 60},
      {"beyond 32 bits", "71582789", 44, 44, 44, 44},
  };
  const struct {
    const char *type, *idle_key, *maximum_key;
    bool generic = false;
  } modes[] = {
      {"LOCAL", "WEBSEC_YJ_TIMEOUT", "WEBSEC_YJ_ALLTIME"},
      {"ADVERT", "WEBSEC_TP_TIMEOUT", "WEBSEC_TP_ALLTIME"},
      {"WEIXIN", "WEBSEC_WX_TIMEOUT", "WEBSEC_WX_ALLTIME"},
      {"USERS", "WEBSEC_TIMEOUT", "WEBAUTH_ALLTIME", true},
      {"EMAIL", "WEBSEC_TIMEOUT", "WEBAUTH_ALLTIME", true},
      {"local", "WEBSEC_TIMEOUT", "WEBAUTH_ALLTIME", true},
      {"", "WEBSEC_TIMEOUT", "WEBAUTH_ALLTIME", true},
  };
  for (const auto& mode : modes) {
    for (const auto& value : values) {
      SCOPED_TRACE(std::string(mode.type) + " " + value.value);
      std::string settings = *mode.type ? std::string("WEBAUTH_SECTYPE=") + mode.type + "\n" : "";
      for (const auto& other : modes) {
        const bool own = std::string_view(other.idle_key) == mode.idle_key;
        const char* text = own ? value.text : "99";
        if (text == nullptr) continue;
        settings +=
            std::string(other.idle_key) + "=" + text + "\n" + other.maximum_key + "=" + text + "\n";
      }
      start(settings);
      const Lines sent = kernel();
      ASSERT_LE(2u, sent.size());
      EXPECT_EQ(mode.generic ? timeouts(value.idle, value.maximum)
                             : timeouts(value.mode_idle, value.mode_maximum),
                sent[1]);
    }
  }
}

TEST_F(StartUpTest, OnlyTheKernelSideIsHeard) {
  start();
  const int stranger = socket(AF_NETLINK, SOCK_RAW, NETLINK_USERSOCK);
  sockaddr_nl daemon{};
  daemon.nl_family = AF_NETLINK;
  daemon.nl_pid = static_cast<std::uint32_t>(pid_);
  const auto* address = reinterpret_cast<const sockaddr*>(&daemon);
  EXPECT_EQ(-1, sendto(stranger, "x", 1, 0, address, sizeof daemon));
  close(stranger);
}

TEST(Transport, KnowsTwoTransports) {
  int pair[2];
  ASSERT_EQ(0, socketpair(AF_UNIX, SOCK_DGRAM, 0, pair));
  char byte = 0;
  EXPECT_EQ(-1, send_message(2, pair[0], "x", 1));
  EXPECT_EQ(1, send_message(TRANSPORT_LOCAL, pair[0], "y", 1));
  EXPECT_EQ(-1, receive_message(-1, pair[1], &byte, 1));
  EXPECT_EQ(1, receive_message(TRANSPORT_LOCAL, pair[1], &byte, 1));
  EXPECT_EQ('y', byte);
  close(pair[0]);
  close(pair[1]);
}

}  // namespace
}  // namespace webauth
