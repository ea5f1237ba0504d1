#include "tests/support/world_test.h"

#include <algorithm>
#include <string_view>

namespace webauth {

testing::AssertionResult same_lines(std::string_view expected, std::string_view seen) {
  if (expected == seen) return testing::AssertionSuccess();
  const auto differ = std::mismatch(expected.begin(), expected.end(), seen.begin(), seen.end());
  const auto same = static_cast<std::size_t>(differ.first - expected.begin());
  const std::size_t from = expected.rfind("\n>", same) + 1;  // the step, or the whole text
  return testing::AssertionFailure() << "expected:\n"
                                     << expected.substr(from, 1'000) << "\nseen:\n"
                                     << seen.substr(from, 1'000);
}

}  // namespace webauth
