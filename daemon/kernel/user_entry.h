// The kernel module's entry of a client that logged in. Only remove_user_entry_or_exit may end the
// process.
#pragma once

#include <cstdint>

#include "daemon/kernel/kernel_message.h"

namespace webauth {

/// A message with kind ENTRY_USER about the address of a dotted quad. Its `ip` is INADDR_NONE when
/// the text does not parse.
KernelMessage user_entry_message(std::uint32_t command, const char* ip);

/// Withdraws the entry of an address; nothing is sent when the text does not parse. Ends the
/// process when the message cannot be sent.
void remove_user_entry_or_exit(const char* ip);

}  // namespace webauth
