// Limits of local accounts that depend on the day: in three zones, of which one has another day.
// The handlers run in this process, on tables made for each row.
#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <climits>
#include <cstring>

#include "common/clock.h"
#include "daemon/control/control_channel.h"
#include "daemon/core/settings.h"
#include "daemon/kernel/transport.h"
#include "daemon/login/account_file.h"
#include "daemon/login/account_login.h"
#include "daemon/users/account_limit.h"
#include "daemon/users/kernel_events.h"
#include "tests/support/world_test.h"

namespace webauth {
namespace {

constexpr std::int32_t HOUR = 3600;

class LimitsTest : public WorldTest, public testing::WithParamInterface<const char*> {
 protected:
  LimitsTest() {
    setenv("TZ", GetParam(), 1);
    tzset();
    if (netlink_fd < 0) netlink_fd = open_netlink_socket();
    auth_mode = AuthMode::USERS;
  }

  OnlineUser& account() { return *accounts_.users.at(0); }

  void make_account(const std::string& validity) {
    accounts_ = {}, online_users_ = {};
    append_user(accounts_, read_account("u password unused " + validity));
  }

  // The reply, and the words that the kernel gets behind the address.
  std::string login(const char* ip) {
    int pair[2];
    EXPECT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM, 0, pair));
    LoginRequest request{};
    std::memcpy(&request, login_request(ip, "m", "u").data(), sizeof request);
    login_local_account(pair[0], request, accounts_, online_users_);
    std::uint32_t reply[75] = {};
    EXPECT_EQ(300, recv(pair[1], reply, sizeof reply, MSG_DONTWAIT));
    for (const int fd : pair) close(fd);
    std::string text = std::to_string(reply[0]);
    for (const std::string& sent : kernel()) text += " " + sent;
    log();
    return text;
  }

  // How many messages the kernel gets for its event about 10.0.0.1.
  std::size_t event(std::uint32_t command, std::uint32_t kind = 0) {
    KernelMessage message{};
    message.command = command;
    message.kind = kind;
    message.ip = inet_addr("10.0.0.1");
    handle_kernel_event(message, accounts_, online_users_);
    log();
    return kernel().size();
  }

  void cut() {
    const CutIpMessage message{.command = CTL_CUT_IP, .unused1{}, .ip = "10.0.0.1", .unused2{}};
    handle_control_message(std::bit_cast<ControlMessage>(message), accounts_, online_users_);
    log(), kernel();
  }

  AccountTable accounts_;
  OnlineUserTable online_users_;
};

TEST_P(LimitsTest, DailyAllowanceStartsAnewAtLocalMidnight) {
  const std::time_t now = std::time(nullptr);
  std::tm day = *std::localtime(&now);
  day.tm_hour = day.tm_min = day.tm_sec = 0;
  const auto midnight = static_cast<std::int32_t>(std::mktime(&day));
  const struct {
    const char *name, *hours;
    std::int32_t logout_time, used;
    const char* seen;
  } rows[] = {
      {"never used", "2", 0, 0, "1 0 100000a 2 0 0 1c20"},
      {"some left", "2", midnight, 7000, "1 0 100000a 2 0 0 c8"},
      {"all used", "2", midnight, 7200, "3"},
      {"all used the day before", "2", midnight - 1, 7200, "1 0 100000a 2 0 0 1c20"},
      {"no hours", "0", 0, 0, "3"},
  };
  for (const auto& row : rows) {
    make_account(row.hours);
    account().logout_time = row.logout_time;
    account().used_seconds = row.used;
    EXPECT_EQ(row.seen, login("10.0.0.1")) << row.name;
  }
}

TEST_P(LimitsTest, TimeIsChargedWhenTheKernelOrACutEndsTheSession) {
  const std::int32_t rows[][2] = {{0, HOUR}, {100, 100 + HOUR}, {INT_MAX - 10, INT_MAX}};
  for (const bool by_cut : {false, true}) {
    for (const auto& [used, charged] : rows) {
      make_account("99");
      ASSERT_EQ('1', login("10.0.0.1")[0]);
      account().used_seconds = used;
      account().login_time -= HOUR;
      by_cut ? cut() : void(event(ENTRY_OFFLINE));
      EXPECT_NEAR(charged, account().used_seconds, 2);
      EXPECT_NEAR(now_seconds(), account().logout_time, 2);
      EXPECT_EQ(0u, online_users_.users.size());
    }
  }
  // An earlier login that is replaced costs nothing, and goes even if the new one is refused.
  make_account("1");
  EXPECT_EQ("1 0 100000a 2 0 0 e10", login("10.0.0.1"));
  account().logout_time = now_seconds();
  account().used_seconds = HOUR;
  EXPECT_EQ("3 1 100000a 2", login("10.0.0.2"));
  EXPECT_EQ(HOUR, account().used_seconds);
  EXPECT_EQ(0u, online_users_.users.size());
}

TEST_P(LimitsTest, ExpiryDateIsTheLastDay) {
  const std::int32_t today = local_date_key(now_seconds());
  make_account("2000-1-1.");
  account().limit_value = today - 1;
  EXPECT_EQ("3", login("10.0.0.1"));
  account().limit_value = today;
  event(ENTRY_ONLINE, ENTRY_IP);
  EXPECT_EQ("1", login("10.0.0.1")) << "the address is online";
  EXPECT_EQ("1 0 200000a 2 0 0 0 258", login("10.0.0.2"));
  change_user(online_users_, 1, [](OnlineUser& user) { user.ip = "10.0.0.1"; });
  EXPECT_EQ(0u, event(CHECK_EXPIRY)) << "on the day itself";
  change_user(online_users_, 1, [&](OnlineUser& user) { user.limit_value = today - 1; });
  EXPECT_EQ(1u, event(CHECK_EXPIRY)) << "on the day after, behind an entry without a date";
  EXPECT_EQ(0, user_at(online_users_, 1).online);
  EXPECT_EQ(0u, event(CHECK_EXPIRY)) << "once";
}

INSTANTIATE_TEST_SUITE_P(Zones, LimitsTest, testing::Values("UTC0", "AAA-13:45", "BBB+11:30"));

}  // namespace
}  // namespace webauth
