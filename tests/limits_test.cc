// Limits of local accounts that depend on the day: in three zones, of which one has another day.
// The handlers run in this process.
#include <arpa/inet.h>
#include <sys/socket.h>

#include <climits>
#include <cstring>

#include "common/clock.h"
#include "common/fd_guard.h"
#include "daemon/control/control_channel.h"
#include "daemon/core/settings.h"
#include "daemon/kernel/transport.h"
#include "daemon/login/account_file.h"
#include "daemon/login/account_login.h"
#include "daemon/users/account_limit.h"
#include "daemon/users/kernel_events.h"
#include "daemon/users/published_line.h"
#include "tests/support/world_test.h"

namespace webauth {
namespace {

class LimitsTest : public WorldTest, public testing::WithParamInterface<const char*> {
 protected:
  LimitsTest() {
    setenv("TZ", GetParam(), 1);
    tzset();
    if (netlink_fd < 0) netlink_fd = open_netlink_socket();
    auth_mode = AuthMode::USERS;
  }

  OnlineUser& make_account(const std::string& validity) {
    accounts_ = {}, online_users_ = {};
    append_user(accounts_, read_account("u password unused " + validity));
    return user_at(accounts_, 0);
  }

  // The reply, and what the kernel is told.
  std::string log_in(const char* ip) {
    int pair[2];
    require(socketpair(AF_UNIX, SOCK_STREAM, 0, pair) == 0, "socketpair");
    const FdGuard daemons(pair[0]), front_end(pair[1]);
    LoginRequest request{};
    std::memcpy(&request, login_request(ip, "m", "u").data(), sizeof request);
    login_local_account(daemons.get(), request, accounts_, online_users_);
    std::string text = reply_to(front_end.get(), false);
    for (const std::string& sent : effects("kernel")) text += ", " + sent;
    return text;
  }

  // How much the kernel is told at its event about 10.0.0.1.
  std::size_t event(std::uint32_t command) {
    KernelMessage message{};
    message.command = command;
    message.ip = inet_addr("10.0.0.1");
    handle_kernel_event(message, accounts_, online_users_);
    return effects("kernel").size();
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
    const char* hours;
    std::int32_t logout_time, used;
    const char* seen;
  } rows[] = {{"2", 0, 0, "300: 1, 0 100000a 2 0 0 1c20"},
              {"2", midnight, 7000, "300: 1, 0 100000a 2 0 0 c8"},
              {"2", midnight, 7200, "300: 3"},
              {"2", midnight - 1, 7200, "300: 1, 0 100000a 2 0 0 1c20"},
              {"0", 0, 0, "300: 3"}};
  for (const auto& row : rows) {
    OnlineUser& account = make_account(row.hours);
    account.logout_time = row.logout_time;
    account.used_seconds = row.used;
    EXPECT_EQ(row.seen, log_in("10.0.0.1")) << row.used;
  }
}

TEST_P(LimitsTest, TimeIsChargedWhenTheKernelOrACutEndsTheSession) {
  const CutIpMessage cut{.command = CTL_CUT_IP, .unused1{}, .ip = "10.0.0.1", .unused2{}};
  const auto end_by_cut = [&] {
    handle_control_message(std::bit_cast<ControlMessage>(cut), accounts_, online_users_);
  };
  for (const bool by_cut : {false, true}) {
    for (const auto& [used, charged] : {std::pair{100, 3700}, {INT_MAX - 10, INT_MAX}}) {
      OnlineUser& account = make_account("99");
      log_in("10.0.0.1");
      account.used_seconds = used;
      account.login_time -= 3600;
      by_cut ? end_by_cut() : void(event(ENTRY_OFFLINE));
      EXPECT_NEAR(charged, account.used_seconds, 2);
      EXPECT_NEAR(now_seconds(), account.logout_time, 2);
    }
  }
  // An earlier login that is replaced costs nothing, and goes even if the new one is refused.
  OnlineUser& account = make_account("1");
  log_in("10.0.0.1");
  account.logout_time = now_seconds();
  account.used_seconds = 3600;
  EXPECT_EQ("300: 3", log_in("10.0.0.2").substr(0, 6));
  EXPECT_EQ(3600, account.used_seconds);
}

TEST_P(LimitsTest, ExpiryDateIsTheLastDay) {
  const std::int32_t today = local_date_key(std::time(nullptr));
  OnlineUser& account = make_account("2000-1-1.");
  account.limit_value = today - 1;
  EXPECT_EQ("300: 3", log_in("10.0.0.1"));
  account.limit_value = today;
  event(ENTRY_ONLINE);
  EXPECT_EQ("300: 1, 0 200000a 2 0 0 0 258", log_in("10.0.0.2"));
  ASSERT_EQ(2U, online_users_.users.size());
  change_user(online_users_, 1, [](OnlineUser& user) { user.ip = "10.0.0.1"; });
  EXPECT_EQ(0U, event(CHECK_EXPIRY)) << "on the day itself";
  change_user(online_users_, 1, [&](OnlineUser& user) { user.limit_value = today - 1; });
  EXPECT_EQ(1U, event(CHECK_EXPIRY)) << "on the day after, behind an entry without a date";
  EXPECT_EQ("", read_file(REGISTRATION_FILE));
  EXPECT_EQ(0U, event(CHECK_EXPIRY)) << "once";
}

INSTANTIATE_TEST_SUITE_P(Zones, LimitsTest, testing::Values("UTC0", "AAA-13:45", "BBB+11:30"));

// A record's 32 bits stand for the time with them that is nearest to now.
TEST(Limits, TimesOfRecordsRunOver) {
  if constexpr (sizeof(std::time_t) > sizeof(std::int32_t)) {
    EXPECT_EQ(2'147'483'648, calendar_time(INT_MIN, 2'147'483'600));
    EXPECT_EQ(2'147'483'000, calendar_time(2'147'483'000, 2'147'483'648));
  }
}

}  // namespace
}  // namespace webauth
