// The tools' functions on what an operator and strangers give them, beside the rules of single
// lines in rules/tools.txt.
#include <gtest/gtest.h>

#include <cstring>

#include "common/address_input.h"
#include "gate/entry_tables.h"
#include "gate/garden_text.h"
#include "gate/input_lines.h"
#include "gate/message_text.h"

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

/// The first bytes of it as they come to the gate, in words.
std::string seen(const KernelMessage& record, std::size_t size = sizeof(KernelMessage)) {
  const auto* bytes = reinterpret_cast<const unsigned char*>(&record);
  return datagram_text({.bytes = {bytes, bytes + size}, .size = size, .sender_port = 77, .from_us = true});
}

TEST(Gate, PrintsMessagesAndTheirDeviations) {
  KernelMessage record = message(ADD_ENTRY, ENTRY_USER, "10.0.0.23");
  EXPECT_EQ(seen(record), "ADD_ENTRY user 10.0.0.23");
  record.time_allowance = 200;
  EXPECT_EQ(seen(record), "ADD_ENTRY user 10.0.0.23 time_allowance 200 s");
  record.header.nlmsg_len = 360, record.header.nlmsg_pid = 78, record.mac[1] = 1;
  EXPECT_EQ(seen(record),
            "ADD_ENTRY user 10.0.0.23 time_allowance 200 s  [DEVIATES: nlmsg_len 360 instead of "
            "376, nlmsg_pid 78 instead of 77, byte 33 is not 0]");
  KernelMessage start = message(DAEMON_START, 1, "0.0.0.0");
  EXPECT_EQ(seen(start), "DAEMON_START  [DEVIATES: byte 28 is not 0]");
  EXPECT_EQ(seen(start, 5), "unknown message, 5 bytes: 78 01 00 00 00");
  start.command = 5;
  const std::string unknown = seen(start);
  EXPECT_EQ(unknown.substr(0, 31) + unknown.substr(unknown.size() - 12),
            "unknown command, 360 bytes: 78 and 296 more");
}

TEST(Gate, PrintsGardenMessages) {
  const std::string whole(
      "\x44\0\0\0\0\0\0\0\0\0\0\0\x4d\0\0\0"
      "\4\0\0\0\15\0\0\0\0\0\0\0\6\0\0\0"
      "\0\0\0\0\0\0\0\0\0\0\0\0"
      "\15\0\10\0\2wx\5qq.\n\1"
      "\0\0\0"
      "\10\0\1\0\12\11\0\1",
      68);
  Datagram datagram{.bytes{whole.begin(), whole.end()}, .size = 68, .sender_port = 77, .from_us = true};
  EXPECT_EQ("GARDEN_HOST_ADDRESS wx.qq.\\x0a\\x01 10.9.0.1", garden_text(datagram));
  while (!datagram.bytes.empty()) {  // no length of it is read beyond its end
    datagram.bytes.pop_back();
    datagram.size = datagram.bytes.size();
    if (datagram.size > 0) datagram.bytes[0] = static_cast<unsigned char>(datagram.size);
    const auto text = garden_text(datagram);
    EXPECT_TRUE(!text || text->find("DEVIATES") != std::string::npos) << datagram.size;
  }
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

TEST(Gate, CutsItsInputIntoLines) {
  InputLines input;
  EXPECT_TRUE(input.add(std::string(9000, 'x')).empty());
  const auto lines = input.add("x\nlist\nla");
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_TRUE(lines[0].too_long && lines[0].text.size() == INPUT_LINE_LIMIT);
  EXPECT_EQ(lines[1].text + input.finish().at(0).text, "listla");
}

}  // namespace
}  // namespace webauth
