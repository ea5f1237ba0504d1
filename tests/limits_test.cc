// Limits of local accounts, lists and the address group: rules that depend on the day or on one
// line of text. The handlers run in this process, on tables made for each row.
#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <climits>
#include <cstring>

#include "base/address_text.h"
#include "base/clock.h"
#include "control/control_channel.h"
#include "core/settings.h"
#include "kernel/access_policy.h"
#include "kernel/transport.h"
#include "login/account_file.h"
#include "login/account_login.h"
#include "login/email_group.h"
#include "support/world.h"
#include "users/account_limit.h"
#include "users/kernel_events.h"

namespace webauth {
namespace {

constexpr std::int32_t HOUR = 3600;

void set_zone(const char* zone) {
  setenv("TZ", zone, 1);
  tzset();
}

TEST(Validity, IsReadAsWritten) {
  const struct {
    const char* text;
    std::int32_t type, value;
  } rows[] = {
      {"*", LIMIT_NONE, 0},
      {"", LIMIT_DAILY_TIME, 0},
      {"8", LIMIT_DAILY_TIME, 8 * HOUR},
      {"24", LIMIT_DAILY_TIME, 24 * HOUR},
      {"*\r", LIMIT_DAILY_TIME, 0},
      {"-1", LIMIT_DAILY_TIME, -HOUR},
      {"2025-12-31.", LIMIT_EXPIRY_DATE, date_key(2025, 12, 31)},
      {"2025-1-2", LIMIT_EXPIRY_DATE, date_key(2025, 1, 2)},
      {"2025-12", LIMIT_EXPIRY_DATE, -1},
      {"for ever", LIMIT_EXPIRY_DATE, -1},
  };
  for (const auto& row : rows) {
    const AccountLimit limit = parse_validity(row.text);
    EXPECT_EQ(row.type, limit.type) << row.text;
    EXPECT_EQ(row.value, limit.value) << row.text;
  }
  // Each date is before the next; none of the arithmetic overflows.
  const int dates[][3] = {{INT_MIN, INT_MAX, INT_MAX},
                          {1, INT_MIN, INT_MIN},
                          {1969, 12, 31},
                          {2025, 0, 31},
                          {2025, 2, 0},
                          {2025, 2, 28},
                          {2025, 2, 31},
                          {2025, 3, 1},
                          {2025, 13, INT_MIN},
                          {2026, INT_MIN, 40},
                          {2026, 1, 1},
                          {INT_MAX, INT_MIN, 1}};
  for (std::size_t i = 1; i < std::size(dates); ++i) {
    EXPECT_LT(date_key(dates[i - 1][0], dates[i - 1][1], dates[i - 1][2]),
              date_key(dates[i][0], dates[i][1], dates[i][2]))
        << i;
  }
}

TEST(AccountLine, FieldsEndAtBlanks) {
  const struct {
    const char *line, *user, *note;
    std::int32_t type, value;
  } rows[] = {
      {"alice x y * *\n", "alice", "", LIMIT_NONE, 0},
      {"bob x y 8 office and more\n", "bob", "office", LIMIT_DAILY_TIME, 8 * HOUR},
      {"carol x y 2025-12-31. *", "carol", "", LIMIT_EXPIRY_DATE, date_key(2025, 12, 31)},
      {"carol x y 2025-12-31.trailing *", "carol", "", LIMIT_EXPIRY_DATE, date_key(2025, 12, 31)},
      {"dave x y\n", "dave", "", LIMIT_NONE, 0},
      {"dave x y \n", "dave", "", LIMIT_DAILY_TIME, 0},
      {"dave x y  note", "dave", "note", LIMIT_DAILY_TIME, 0},
      {"erin x y *\r\n", "erin", "", LIMIT_DAILY_TIME, 0},
      {"\n", "", "", LIMIT_NONE, 0},
      {"tab\tname x", "tab\tname", "", LIMIT_NONE, 0},
  };
  for (const auto& row : rows) {
    const OnlineUser account = read_account(row.line);
    EXPECT_EQ(row.user, account.user) << row.line;
    EXPECT_EQ(row.note, account.note) << row.line;
    EXPECT_EQ(row.type, account.limit_type) << row.line;
    EXPECT_EQ(row.value, account.limit_value) << row.line;
  }
  const std::string wide(100, 'w');
  const OnlineUser cut = read_account(wide + " x y * " + wide);
  EXPECT_EQ(wide.substr(0, 63) + wide.substr(0, 63), cut.user + cut.note);
}

TEST(ListLines, GiveAddresses) {
  const struct {
    const char *line, *first;
    std::uint32_t count;
  } rows[] = {
      {"10.0.0.1\n", "10.0.0.1", 1},
      {"010.0.0.1 x", "10.0.0.1", 1},
      {"10.0.0.1-10.0.0.3", "10.0.0.1", 3},
      {"10.0.0.7-10.0.0.7", "10.0.0.7", 1},
      {"10.0.0.1-10.0.0.256", "10.0.0.1", 1},
      {"10.0.0.1-10.0.0", "10.0.0.1", 1},
      {"10.0.0.2-10.0.0.1", "", 0},
      {"1.0.0.0-1.15.255.255", "1.0.0.0", LONGEST_RANGE},
      {"1.0.0.0-1.16.0.0", "", 0},
      {"0.0.0.0-255.255.255.255", "", 0},
      {"255.255.255.254-255.255.255.255", "255.255.255.254", 2},
      {"10.0.0.256-10.0.1.0", "", 0},
      {"10.0.0", "", 0},
      {"", "", 0},
  };
  for (const auto& row : rows) {
    const auto range = read_ip_range(row.line);
    ASSERT_EQ(row.count > 0, range.has_value()) << row.line;
    if (!range) continue;
    EXPECT_EQ(row.first, ip_text(htonl(range->first))) << row.line;
    EXPECT_EQ(row.count, range->last - range->first + 1) << row.line;
  }
}

TEST(AddressGroup, LineIsEdited) {
  const std::string g = "group5 Email_Auth ";
  const struct {
    const char* name;
    std::string line, address, added, removed;  // empty: not changed
  } rows[] = {
      {"the only one", g + "1.1.1.1  \n", "1.1.1.1", "", ""},
      {"first of two", g + "1.1.1.1,2.2.2.2 \n", "1.1.1.1", "", g + "2.2.2.2 \n"},
      {"last of two", g + "1.1.1.1,2.2.2.2 \n", "2.2.2.2", "", g + "1.1.1.1 \n"},
      {"middle", g + "1.1.1.1,2.2.2.2,3.3.3.3 \n", "2.2.2.2", "", g + "1.1.1.1,3.3.3.3 \n"},
      {"new", g + "1.1.1.1  \n", "2.2.2.2", g + "1.1.1.1,2.2.2.2 \n", ""},
      {"prefix", g + "1.1.1.11 \n", "1.1.1.1", g + "1.1.1.11,1.1.1.1 \n", ""},
      {"suffix", g + "11.1.1.1,1.1.1.1 \n", "1.1.1.1", "", g + "11.1.1.1 \n"},
      {"junk behind", g + "1.1.1.1 junk\nmore\n", "2.2.2.2", g + "1.1.1.1,2.2.2.2 \n", ""},
      {"two blanks", g + "1.1.1.1\n", "2.2.2.2", "", ""},
      {"two blanks, listed", g + "1.1.1.1,2.2.2.2\n", "1.1.1.1", "", ""},
      {"empty", "", "1.1.1.1", "", ""},
  };
  for (const auto& row : rows) {
    std::string added = row.line, removed = row.line;
    EXPECT_EQ(!row.added.empty(), add_group_address(added, row.address)) << row.name;
    EXPECT_EQ(row.added.empty() ? row.line : row.added, added) << row.name;
    EXPECT_EQ(!row.removed.empty(), remove_group_address(removed, row.address)) << row.name;
    EXPECT_EQ(row.removed.empty() ? row.line : row.removed, removed) << row.name;
  }
}

class LimitsTest : public World {
 protected:
  LimitsTest() {
    setenv("WEBAUTHD_KERNEL_PORT", "1195463749", 1);
    netlink_fd = open_netlink_socket();
    auth_mode = AuthMode::USERS;
    multi_user = 0;
  }
  ~LimitsTest() override { close(netlink_fd); }

  OnlineUser& account() { return *accounts_.users.at(0); }

  void make_account(std::int32_t type, std::int32_t value) {
    accounts_ = {}, online_users_ = {};
    OnlineUser user;
    user.kind = ENTRY_USER;
    user.user = "u";
    user.limit_type = type;
    user.limit_value = value;
    append_user(accounts_, user);
  }

  // The reply, and the words that the kernel gets behind the address.
  std::string login(const char* ip) {
    int pair[2];
    EXPECT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM, 0, pair));
    LoginRequest request{};
    std::memcpy(&request, login_request(ip, "m", "u").data(), sizeof request);
    login_local_account(pair[0], request, accounts_, online_users_);
    close(pair[0]);
    std::uint32_t reply[75] = {};
    const bool answered = read(pair[1], reply, sizeof reply) == sizeof reply;
    close(pair[1]);
    std::string text = answered ? std::to_string(reply[0]) : "none";
    for (const std::string& sent : kernel()) text += sent.substr(sent.find(" 168 ") + 4);
    log();
    return text;
  }

  std::size_t event(std::uint32_t command) {
    KernelMessage message{};
    message.command = command;
    message.ip = 0x0100000a;
    handle_kernel_event(message, accounts_, online_users_);
    log();
    return kernel().size();
  }

  AccountTable accounts_;
  OnlineUserTable online_users_;
};

TEST_F(LimitsTest, DailyAllowanceStartsAnewAtLocalMidnight) {
  for (const char* zone : {"UTC0", "AAA-13:45", "BBB+11:30"}) {
    set_zone(zone);
    const std::int32_t now = now_seconds();
    std::time_t wide = now;
    std::tm day = *std::localtime(&wide);
    day.tm_hour = day.tm_min = day.tm_sec = 0;
    const auto midnight = static_cast<std::int32_t>(std::mktime(&day));
    const struct {
      const char* name;
      std::int32_t logout_time, used, limit;
      const char* seen;
    } rows[] = {
        {"never used", 0, 0, 2 * HOUR, "1 0 100000a 2 0 0 1c20"},
        {"some left", midnight, 7000, 2 * HOUR, "1 0 100000a 2 0 0 c8"},
        {"all used", midnight, 7200, 2 * HOUR, "3"},
        {"all used the day before", midnight - 1, 7200, 2 * HOUR, "1 0 100000a 2 0 0 1c20"},
        {"no hours", 0, 0, 0, "3"},
    };
    for (const auto& row : rows) {
      SCOPED_TRACE(std::string(zone) + " " + row.name);
      make_account(LIMIT_DAILY_TIME, row.limit);
      account().logout_time = row.logout_time;
      account().used_seconds = row.used;
      EXPECT_EQ(row.seen, login("10.0.0.1"));
    }
  }
  set_zone("UTC0");
}

TEST_F(LimitsTest, TimeIsChargedWhenTheKernelOrACutEndsTheSession) {
  for (const bool cut : {false, true}) {
    for (const std::int32_t used : {0, 100, INT_MAX - 10}) {
      make_account(LIMIT_DAILY_TIME, INT_MAX);
      ASSERT_EQ('1', login("10.0.0.1")[0]);
      account().used_seconds = used;
      account().login_time -= HOUR;
      if (cut) {
        CutIpMessage message{.command = CTL_CUT_IP, .unused1{}, .ip = "10.0.0.1", .unused2{}};
        handle_control_message(std::bit_cast<ControlMessage>(message), accounts_, online_users_);
        log(), kernel();
      } else {
        event(ENTRY_OFFLINE);
      }
      const std::int64_t expected = std::min<std::int64_t>(INT_MAX, std::int64_t{used} + HOUR);
      EXPECT_NEAR(static_cast<double>(expected), account().used_seconds, 2);
      EXPECT_NEAR(now_seconds(), account().logout_time, 2);
      EXPECT_EQ(0u, online_users_.users.size());
    }
  }
  // An earlier login that is replaced costs nothing, and goes even if the new one is refused.
  make_account(LIMIT_DAILY_TIME, HOUR);
  EXPECT_EQ("1 0 100000a 2 0 0 e10", login("10.0.0.1"));
  account().logout_time = now_seconds();
  account().used_seconds = HOUR;
  EXPECT_EQ("3 1 100000a 2", login("10.0.0.2"));
  EXPECT_EQ(HOUR, account().used_seconds);
  EXPECT_EQ(0u, online_users_.users.size());
}

TEST_F(LimitsTest, ExpiryDateIsTheLastDay) {
  for (const char* zone : {"UTC0", "AAA-13:45", "BBB+11:30"}) {
    SCOPED_TRACE(zone);
    set_zone(zone);
    const std::int32_t today = local_date_key(now_seconds());
    make_account(LIMIT_EXPIRY_DATE, today - 1);
    EXPECT_EQ("3", login("10.0.0.1"));
    account().limit_value = today;
    KernelMessage listed{};
    listed.kind = ENTRY_IP;
    listed.ip = inet_addr("10.0.0.1");
    on_entry_online(listed, online_users_);
    EXPECT_EQ("1", login("10.0.0.1")) << "the address is online";
    EXPECT_EQ("1 0 200000a 2 0 0 0 258", login("10.0.0.2"));
    change_user(online_users_, 1, [](OnlineUser& user) { user.ip = "10.0.0.1"; });
    EXPECT_EQ(0u, event(CHECK_EXPIRY)) << "on the day itself";
    change_user(online_users_, 1, [&](OnlineUser& user) { user.limit_value = today - 1; });
    EXPECT_EQ(1u, event(CHECK_EXPIRY)) << "on the day after, behind an entry without a date";
    EXPECT_EQ(0, user_at(online_users_, 1).online);
    EXPECT_EQ(0u, event(CHECK_EXPIRY)) << "once";
  }
  set_zone("UTC0");
}

}  // namespace
}  // namespace webauth
