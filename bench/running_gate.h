// The real gate in the sandbox's network, and a daemon's end of the link to it.
#pragma once

#include <cstdint>
#include <string>

#include "common/fd_guard.h"
#include "daemon/kernel/kernel_message.h"
#include "gate/nfnetlink.h"
#include "gate/session_table.h"
#include "tests/support/program.h"

namespace webauth {

/// Throws std::runtime_error when a command fails, as everything here does.
void shell(const std::string& text);

Millis now_millis();

KernelMessage message_of(KernelCommand command, std::uint32_t ip = 0, std::uint32_t kind = 0);

/// A client's address by its number, in network byte order.
std::uint32_t client_address(std::uint32_t number);

/// Waits until an element is in the kernel, or no longer.
void await_element(Nfnetlink& link, PolicySet set, std::uint32_t ip, bool there = true);

/// Without what an earlier one left.
struct RunningGate {
  RunningGate();

  void send(const KernelMessage& message) const;

  /// Users by number. Returns when the last of them is in the kernel.
  void admit(std::uint32_t first, std::uint32_t count, std::uint32_t allowance = 0);

  Program program;
  Nfnetlink link;
  FdGuard daemon;
};

}  // namespace webauth
