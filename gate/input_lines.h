// Cuts a byte stream into lines without holding more than INPUT_LINE_LIMIT bytes of one.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace webauth {

inline constexpr std::size_t INPUT_LINE_LIMIT = 512;

/// A longer line comes as its first INPUT_LINE_LIMIT bytes with `too_long` set.
struct InputLine {
  std::string text;
  bool too_long;
};

class InputLines {
 public:
  /// The lines that these bytes complete.
  std::vector<InputLine> add(std::string_view bytes);

  /// The last line, when the stream ends without a newline after it.
  std::vector<InputLine> finish();

 private:
  InputLine pending_{};
};

}  // namespace webauth
