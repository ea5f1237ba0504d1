#include "gate/message_text.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>

#include "common/address_text.h"
#include "gate/garden_reader.h"
#include "gate/table_text.h"

namespace webauth {
namespace {

constexpr std::size_t DUMP_LIMIT = 64;

std::string hex_dump(const Datagram& datagram) {
  const std::size_t shown = std::min(datagram.bytes.size(), DUMP_LIMIT);
  std::string dump;
  for (std::size_t i = 0; i < shown; ++i) {
    char byte[4];
    std::snprintf(byte, sizeof byte, " %02x", static_cast<unsigned char>(datagram.bytes[i]));
    dump += byte;
  }
  if (datagram.size > shown) dump += " and " + std::to_string(datagram.size - shown) + " more";
  return std::to_string(datagram.size) + " bytes:" + dump;
}

std::string add_entry_text(const KernelMessage& message) {
  std::string text = "ADD_ENTRY " + kind_text(message.kind) + ' ';
  text += message.kind == ENTRY_MAC ? mac_text(message.mac) : ip_text(message.ip);
  return text + times_text(message.time_allowance, message.recheck_interval);
}

std::string remove_entry_text(const KernelMessage& message) {
  // Kind 0 beside an address is the removal that follows a deleted account: no MAC entry is meant.
  const std::string kind = message.kind == ENTRY_MAC ? "kind 0" : kind_text(message.kind);
  return "REMOVE_ENTRY " + kind + ' ' + ip_text(message.ip);
}

std::string command_text(const KernelMessage& message) {
  switch (message.command) {
    case ADD_ENTRY:
      return add_entry_text(message);
    case REMOVE_ENTRY:
      return remove_entry_text(message);
    case DAEMON_START:
      return "DAEMON_START";
    case SET_TIMEOUTS:
      return "SET_TIMEOUTS idle " + std::to_string(message.ip) + " s, maximum " +
             std::to_string(message.kind) + " s";
    default:
      return "REMOVE_MAC " + mac_text(message.mac);
  }
}

void add_note(std::string& notes, const std::string& note) {
  if (!notes.empty()) notes += ", ";
  notes += note;
}

void expect(std::string& notes, const char* name, std::uint32_t found, std::uint32_t expected) {
  if (found == expected) return;
  add_note(notes, std::string(name) + ' ' + std::to_string(found) + " instead of " +
                      std::to_string(expected));
}

/// The message with everything set to 0 that its command may fill.
KernelMessage without_used_fields(KernelMessage rest) {
  const bool adds_mac = rest.command == ADD_ENTRY && rest.kind == ENTRY_MAC;
  const bool adds_user = rest.command == ADD_ENTRY && rest.kind == ENTRY_USER;
  if (adds_mac || rest.command == REMOVE_MAC) {
    rest.mac = {};
  } else if (rest.command != DAEMON_START) {
    rest.ip = 0;
    rest.kind = 0;
  }
  if (adds_user) rest.time_allowance = rest.recheck_interval = 0;
  rest.header.nlmsg_len = rest.header.nlmsg_pid = 0;
  rest.length = rest.command = 0;
  return rest;
}

// A kernel module that hands messages on sends them from a port of its own, so the process id is
// compared with the one at the daemon's start.
std::string deviations(const KernelMessage& message, std::uint32_t daemon_pid) {
  std::string notes;
  expect(notes, "nlmsg_len", message.header.nlmsg_len, KERNEL_HEADER_LENGTH);
  if (daemon_pid != 0 && message.command != DAEMON_START) {
    expect(notes, "nlmsg_pid", message.header.nlmsg_pid, daemon_pid);
  }
  expect(notes, "length", message.length, KERNEL_MESSAGE_SIZE);
  const KernelMessage rest = without_used_fields(message);
  std::array<unsigned char, sizeof rest> bytes;
  std::memcpy(bytes.data(), &rest, sizeof rest);
  const auto odd = std::find_if(bytes.begin(), bytes.end(), [](unsigned char b) { return b != 0; });
  if (odd != bytes.end()) {
    add_note(notes, "byte " + std::to_string(odd - bytes.begin()) + " is not 0");
  }
  return notes;
}

}  // namespace

std::optional<KernelMessage> known_message(const Datagram& datagram) {
  if (datagram.size != KERNEL_MESSAGE_SIZE || datagram.bytes.size() != datagram.size) return {};
  KernelMessage message;
  std::memcpy(&message, datagram.bytes.data(), sizeof message);
  switch (message.command) {
    case ADD_ENTRY:
    case REMOVE_ENTRY:
    case DAEMON_START:
    case SET_TIMEOUTS:
    case REMOVE_MAC:
      return message;
    default:
      return {};
  }
}

std::string datagram_text(const Datagram& datagram, std::uint32_t daemon_pid) {
  std::string text;
  std::string notes;
  if (const auto garden = read_garden_message(datagram)) {
    text = garden_text(*garden);
    notes = garden->problem;
    if (daemon_pid != 0) expect(notes, "nlmsg_pid", garden->sender_pid, daemon_pid);
  } else if (const auto message = known_message(datagram)) {
    text = command_text(*message);
    notes = deviations(*message, daemon_pid);
  } else {
    const bool sized = datagram.size == KERNEL_MESSAGE_SIZE;
    text = (sized ? "unknown command, " : "unknown message, ") + hex_dump(datagram);
  }
  return text + (notes.empty() ? "" : "  [DEVIATES: " + notes + "]");
}

std::string kind_text(std::uint32_t kind) {
  switch (kind) {
    case ENTRY_MAC:
      return "mac";
    case ENTRY_IP:
      return "ip";
    case ENTRY_USER:
      return "user";
    default:
      return "kind " + std::to_string(kind);
  }
}

}  // namespace webauth
