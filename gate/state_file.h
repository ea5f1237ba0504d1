// What a gate must know that the kernel does not keep for it: the daemon's port, the time-outs, the
// names of the garden. One text file in the folder of --state-dir, replaced in one step.
#pragma once

#include <cstdint>
#include <string>

#include "gate/session_table.h"

namespace webauth {

/// Makes the folder if it is missing. Throws std::runtime_error.
void make_state_folder(const std::string& folder);

/// Returns the daemon's port, 0 when it is not known; a file that is missing or broken says
/// nothing.
std::uint32_t read_state(const std::string& folder, SessionTable& table);

/// False when it could not be written.
[[nodiscard]] bool write_state(const std::string& folder, const SessionTable& table,
                               std::uint32_t daemon_port);

/// Also when there is none.
void remove_state(const std::string& folder);

}  // namespace webauth
