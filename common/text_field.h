// Text inside fixed arrays of records that come from other processes.
//
// A text ends at its first NUL, or at the end of its array: it is never read beyond it.
#pragma once

#include <cstddef>
#include <cstring>
#include <string_view>

namespace webauth {

template <std::size_t N>
std::string_view field_text(const char (&field)[N]) {
  return {field, strnlen(field, N)};
}

/// Writes `text` into a field and fills the rest with NULs, at least one. Returns false, and leaves
/// the field alone, when the text does not fit.
template <std::size_t N>
[[nodiscard]] bool put_field(char (&field)[N], std::string_view text) {
  if (text.size() >= N) return false;
  std::memset(field, 0, N);
  std::memcpy(field, text.data(), text.size());
  return true;
}

}  // namespace webauth
