// Lines on standard output that whoever reads there may take their time over, or never read: the
// gate must not stand still for it, since the daemon would stand still too.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace webauth {

struct OutputLines {
  int fd;
  std::size_t dropped = 0;      ///< lines, since one was written last
  std::int64_t written_at = 0;  ///< when that was, in steady_microseconds
};

/// Writes each line of `text` (at least one; its last needs no line feed). While there is no room
/// it waits, a second at most since the last line that went out; then lines are dropped, and the
/// next that goes out is preceded by one that says how many.
void print_lines(OutputLines& output, std::string_view text);

}  // namespace webauth
