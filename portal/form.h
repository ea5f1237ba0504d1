// The fields of a form as browsers send them (application/x-www-form-urlencoded), decoded in place,
// so that no copy of a password is made. Nothing here allocates or ends the process.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <span>
#include <string_view>

namespace webauth {

inline constexpr std::size_t MOST_FIELDS = 16;

/// Names and values are views into the body that was decoded.
struct Form {
  struct Field {
    std::string_view name;
    std::string_view value;
  };
  std::array<Field, MOST_FIELDS> fields;
  std::size_t count = 0;

  /// The value of a field; empty when there is none.
  [[nodiscard]] std::string_view value(std::string_view name) const;
};

/// Decodes `body`, which is changed. Nothing when a name comes twice, an escape is broken, a NUL is
/// in it, or more than MOST_FIELDS fields are.
std::optional<Form> decode_form(std::span<char> body);

}  // namespace webauth
