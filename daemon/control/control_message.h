// The control channel's records: one 300-byte datagram per command to the UNIX datagram socket
// CONTROL_SOCKET_PATH, never answered. Words are 32 bits in host byte order; texts end at their
// first NUL or at the end of their array.
//
// The fields of the commands overlap, so there is one record per command, all of them 300 bytes
// long and opened by the command word.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace webauth {

inline constexpr char CONTROL_SOCKET_PATH[] = "/tmp/K5localsocket";

inline constexpr std::size_t CONTROL_MESSAGE_SIZE = 300;

enum ControlCommand : std::uint32_t {
  CTL_ADD_ACCOUNT = 0,     ///< AddAccountMessage; also what an empty datagram reads as
  CTL_DELETE_ACCOUNT = 1,  ///< DeleteAccountMessage
  CTL_CUT_IP = 3,          ///< CutIpMessage
  CTL_ALLOW_MAC = 5,       ///< AllowMacMessage
  CTL_REMOVE_MAC = 6,      ///< RemoveMacMessage
};

/// Any command, as it was received: to be read as the record of its command.
struct ControlMessage {
  std::uint32_t command;  ///< ControlCommand; every other value is ignored
  char fields[296];
};

struct AddAccountMessage {
  std::uint32_t command;
  char user[64];
  char password[16];  ///< carried, never read
  char validity[16];  ///< "*", hours per day, or an expiry date "year-month-day."
  char note[64];
  char unused[136];
};

struct DeleteAccountMessage {
  std::uint32_t command;
  char user[64];
  char unused[232];
};

struct CutIpMessage {
  std::uint32_t command;
  char unused1[64];
  char ip[16];  ///< IPv4 address, dotted quad
  char unused2[216];
};

struct AllowMacMessage {
  std::uint32_t command;
  char unused1[160];
  char mac[24];  ///< six hexadecimal numbers separated by colons
  char unused2[112];
};

struct RemoveMacMessage {
  std::uint32_t command;
  char unused1[80];
  char mac[24];  ///< six hexadecimal numbers separated by colons
  char unused2[192];
};

/// True of a record of this channel: its size, and the place of its command word.
template <typename Record>
constexpr bool is_control_record() {
  static_assert(std::is_trivially_copyable_v<Record>);
  static_assert(std::has_unique_object_representations_v<Record>);
  return sizeof(Record) == CONTROL_MESSAGE_SIZE && offsetof(Record, command) == 0;
}

static_assert(is_control_record<ControlMessage>());
static_assert(is_control_record<AddAccountMessage>());
static_assert(offsetof(AddAccountMessage, user) == 4);
static_assert(offsetof(AddAccountMessage, password) == 68);
static_assert(offsetof(AddAccountMessage, validity) == 84);
static_assert(offsetof(AddAccountMessage, note) == 100);
static_assert(offsetof(AddAccountMessage, unused) == 164);
static_assert(is_control_record<DeleteAccountMessage>());
static_assert(offsetof(DeleteAccountMessage, user) == 4);
static_assert(is_control_record<CutIpMessage>());
static_assert(offsetof(CutIpMessage, ip) == 68);
static_assert(is_control_record<AllowMacMessage>());
static_assert(offsetof(AllowMacMessage, mac) == 164);
static_assert(is_control_record<RemoveMacMessage>());
static_assert(offsetof(RemoveMacMessage, mac) == 84);

}  // namespace webauth
