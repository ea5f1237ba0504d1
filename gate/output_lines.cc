#include "gate/output_lines.h"

#include <poll.h>
#include <unistd.h>

#include <climits>
#include <string>

#include "common/clock.h"
#include "common/text_line.h"

namespace webauth {
namespace {

constexpr std::int64_t PATIENCE_US = 1'000'000;

// Whether a write of PIPE_BUF bytes would be taken at once, or within what is left of the patience.
bool has_room(const OutputLines& output) {
  const std::int64_t left = output.written_at + PATIENCE_US - steady_microseconds();
  pollfd waiting{.fd = output.fd, .events = POLLOUT, .revents = 0};
  const bool impatient = output.dropped > 0 || left <= 0;
  return poll(&waiting, 1, impatient ? 0 : static_cast<int>(left / 1'000 + 1)) == 1 &&
         (waiting.revents & POLLOUT) != 0;
}

// One write of at most PIPE_BUF bytes; a longer line is cut.
bool write_line(OutputLines& output, std::string_view line) {
  std::string bytes(line.substr(0, PIPE_BUF - 1));
  bytes += '\n';
  if (!has_room(output) || write(output.fd, bytes.data(), bytes.size()) < 0) return false;
  output.written_at = steady_microseconds();
  return true;
}

}  // namespace

void print_lines(OutputLines& output, std::string_view text) {
  do {
    const std::string_view line = take_line(text);
    if (output.dropped > 0 &&
        write_line(output, "(" + std::to_string(output.dropped) + " lines dropped: nobody read)")) {
      output.dropped = 0;
    }
    if (output.dropped > 0 || !write_line(output, line)) ++output.dropped;
  } while (!text.empty());
}

}  // namespace webauth
