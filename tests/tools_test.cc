// The tools' pure functions: what they read from an operator, and what they make of records and of
// the published list.
#include <gtest/gtest.h>

#include <cstring>

#include "ctl/control_commands.h"
#include "ctl/login_command.h"
#include "ctl/operator_error.h"
#include "ctl/user_list.h"
#include "gate/entry_tables.h"
#include "gate/gate_command.h"
#include "gate/input_lines.h"
#include "gate/message_text.h"
#include "text/address_input.h"
#include "text/terminal_text.h"

namespace webauth {
namespace {

/// A message of the daemon at port 77.
KernelMessage message(KernelCommand command, std::uint32_t kind, const char* ip) {
  KernelMessage result{};
  result.header.nlmsg_len = KERNEL_HEADER_LENGTH;
  result.header.nlmsg_pid = 77;
  result.length = KERNEL_MESSAGE_SIZE;
  result.command = command;
  result.kind = kind;
  result.ip = *parse_ipv4(ip);
  return result;
}

Datagram datagram_of(const KernelMessage& record, std::size_t size) {
  Datagram datagram{.bytes = {}, .size = size, .sender_port = 77};
  datagram.bytes.resize(size);
  std::memcpy(datagram.bytes.data(), &record, std::min(size, sizeof record));
  return datagram;
}

TEST(Gate, PrintsMessagesAndTheirDeviations) {
  using M = KernelMessage;
  const struct {
    const char* name;
    void (*change)(M&);
    const char* text;
  } rows[] = {{"plain", [](M&) {}, ""},
              {"allowance", [](M& m) { m.time_allowance = 200; }, " time_allowance 200 s"},
              {"header", [](M& m) { m.header.nlmsg_len = 360, m.header.nlmsg_pid = 78; },
               "  [DEVIATES: nlmsg_len 360 instead of 376, nlmsg_pid 78 instead of 77]"},
              {"stray byte", [](M& m) { m.mac[1] = 1; }, "  [DEVIATES: byte 33 is not 0]"}};
  for (const auto& row : rows) {
    KernelMessage record = message(ADD_ENTRY, ENTRY_USER, "10.0.0.23");
    row.change(record);
    const std::string text = datagram_text(datagram_of(record, 360));
    EXPECT_EQ(text, std::string("ADD_ENTRY user 10.0.0.23") + row.text) << row.name;
  }
  KernelMessage start = message(DAEMON_START, 1, "0.0.0.0");
  EXPECT_EQ(datagram_text(datagram_of(start, 360)), "DAEMON_START  [DEVIATES: byte 28 is not 0]");
  EXPECT_EQ(datagram_text(datagram_of(start, 5)), "unknown message, 5 bytes: 78 01 00 00 00");
  start.command = 5;
  const std::string unknown = datagram_text(datagram_of(start, 360));
  EXPECT_EQ(unknown.substr(0, 31) + unknown.substr(unknown.size() - 12),
            "unknown command, 360 bytes: 78 and 296 more");
}

TEST(Gate, KeepsTheTablesThatMessagesDescribe) {
  EntryTables tables;
  KernelMessage mac = message(ADD_ENTRY, ENTRY_MAC, "0.0.0.0");
  mac.mac[5] = 9;
  apply_message(tables, mac);
  for (const char* ip : {"10.0.1.0", "10.0.0.255", "10.0.0.9", "255.255.255.255"}) {
    apply_message(tables, message(ADD_ENTRY, ENTRY_IP, ip));
    apply_message(tables, message(ADD_ENTRY, ENTRY_USER, ip));
  }
  apply_message(tables, message(REMOVE_ENTRY, ENTRY_USER, "10.0.0.9"));
  apply_message(tables, message(REMOVE_ENTRY, ENTRY_MAC, "10.0.1.0"));  // a deleted account
  apply_message(tables, message(REMOVE_ENTRY, ENTRY_IP, "255.255.255.255"));
  EXPECT_EQ(tables_text(tables),
            "  mac 00:00:00:00:00:09\n  ip 10.0.0.9\n  ip 10.0.0.255-10.0.1.0\n"
            "  user 10.0.0.255\n  user 255.255.255.255\n"
            "list: 1 mac, 3 ip, 2 user; time-outs not set");
  apply_message(tables, message(DAEMON_START, 0, "0.0.0.0"));
  EXPECT_EQ(tables_text(tables), "list: 0 mac, 0 ip, 0 user; time-outs not set");
}

TEST(Gate, ReadsCommands) {
  const struct {
    const char* line;
    const char* event;  ///< how the problem begins, when the line is no command
  } rows[] = {
      {"online mac 10.0.0.5 0A:1:2:3:4:5", "ENTRY_ONLINE mac 10.0.0.5 0a:01:02:03:04:05"},
      {" online\t7 1.2.3.4 1:2:3:4:5:6 \r", "ENTRY_ONLINE kind 7 1.2.3.4 01:02:03:04:05:06"},
      {"offline 10.0.0.5", "ENTRY_OFFLINE 10.0.0.5"},
      {"check-expiry 10.0.0.5", "CHECK_EXPIRY 10.0.0.5"},
      {"offline", "wrong number of arguments"},
      {"offline 10.0.0.256", "not a dotted"},
      {"online -1 1.2.3.4 1:2:3:4:5:6", "not a kind"},
      {"online ip 1.2.3.4 1:2:3:4:5:100", "not a MAC"},
      {"\033[2J", "unknown command '\\x1b[2J'"}};
  for (const auto& row : rows) {
    std::string result;
    const auto command = parse_gate_command(row.line, result);
    if (command) result = event_text(*command->event);
    EXPECT_TRUE(result.starts_with(row.event)) << row.line << ": " << result;
  }
  InputLines input;
  EXPECT_TRUE(input.add(std::string(9000, 'x')).empty());
  const auto lines = input.add("x\nlist\nla");
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_TRUE(lines[0].too_long && lines[0].text.size() == INPUT_LINE_LIMIT);
  EXPECT_EQ(lines[1].text + input.finish().at(0).text, "listla");
}

TEST(Ctl, ReadsThePublishedListFromTheRight) {
  const struct {
    const char* name;
    const char* line;
    const char* user;  ///< null for a malformed line
  } rows[] = {{"account", "alice 10.0.0.23 00:11:22:33:44:55 1700000000 3 \n", "alice"},
              {"one-key", " 10.0.0.24 66:77:88:99:aa:bb 1700000100 0 \n", ""},
              {"blanks in the name", "a  b  10.0.0.24 m -5 4 \n", "a  b "},
              {"torn", "alice 10.0.0.23 m 1700000000 3 ", nullptr},
              {"unknown mode", "alice 10.0.0.23 m 1700000000 5 \n", nullptr},
              {"bad time", "alice 10.0.0.23 m 17x 3 \n", nullptr},
              {"no address", "alice bob m 1700000000 3 \n", nullptr}};
  for (const auto& row : rows) {
    const UserList list = parse_user_list(row.line);
    ASSERT_EQ(list.malformed, row.user == nullptr ? 1U : 0U) << row.name;
    EXPECT_TRUE(row.user == nullptr || list.users.at(0).user == row.user) << row.name;
  }
  EXPECT_EQ(user_json(parse_user_list("\xff\" 10.0.0.1 m 5 4 \n")),
            "[{\"user\":\"\xef\xbf\xbd\\\"\",\"ip\":\"10.0.0.1\",\"mac\":\"m\",\"login_time\":5,"
            "\"mode\":4,\"mode_name\":\"EMAIL\"}]\n");
  EXPECT_EQ(terminal_text("a\x1b\\\xc3\xa9\xc2\x9b\xe2\x80\xae\xe9"),
            "a\\x1b\\\\\xc3\xa9\\xc2\\x9b\\xe2\\x80\\xae\\xe9");
}

TEST(Ctl, RefusesWhatDoesNotFit) {
  for (const char* good : {"*", "0", "24"}) EXPECT_EQ(validity_field_text(good), good);
  EXPECT_EQ(validity_field_text("2024-02-29"), "2024-02-29.");
  for (const char* bad : {"", "25", "-1", "008", "2023-02-29", "2024-13-01", "2024-1-01"}) {
    EXPECT_THROW(validity_field_text(bad), OperatorError) << bad;
  }
  EXPECT_EQ(make_delete_account(std::string(63, 'u')).user, std::string(63, 'u'));
  EXPECT_THROW(make_delete_account(std::string(64, 'u')), OperatorError);
  EXPECT_THROW(make_add_account({.user = "two\nlines", .password = "", .note = ""}), OperatorError);
  LoginOptions login;
  login.ip = "10.0.0.010";
  EXPECT_THROW(make_login_request(login), OperatorError);
  login.ip = "10.0.0.1";
  login.mac = "1:2:3:4:5:6";
  EXPECT_STREQ(make_login_request(login).mac, "1:2:3:4:5:6");
  login.password = std::string(16, 'p');
  EXPECT_THROW(make_login_request(login), OperatorError);
}

}  // namespace
}  // namespace webauth
