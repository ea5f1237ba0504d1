// The table as the gate prints it.
#pragma once

#include <cstdint>
#include <string>

#include "gate/session_table.h"

namespace webauth {

/// " time_allowance N s recheck_interval N s", without what is 0.
std::string times_text(std::uint32_t time_allowance, std::uint32_t recheck_interval);

/// One line per entry, runs of IP entries as ranges, and a closing line with the counts.
std::string tables_text(const SessionTable& table);

}  // namespace webauth
