// GoogleTest around a World, and texts compared line by line.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/support/world.h"

namespace webauth {

/// Fixture with at most one daemon at a time, which must be alive and silent at the end.
class WorldTest : public testing::Test, protected World {
  void TearDown() override {
    EXPECT_EQ(Lines(), effects("exit"));
    end_daemon();
  }
};

/// Shows two texts only from the line before the one in which they begin to differ.
inline testing::AssertionResult same_lines(const std::string& expected, const std::string& seen) {
  if (expected == seen) return testing::AssertionSuccess();
  const auto differ = std::mismatch(expected.begin(), expected.end(), seen.begin(), seen.end());
  auto from = static_cast<std::size_t>(differ.first - expected.begin());
  for (int lines = 0; lines < 2 && from > 0; ++lines) {
    from = std::min(expected.rfind('\n', from - 1), from - 1);
  }
  return testing::AssertionFailure()
         << "expected:" << expected.substr(from, 800) << "\nseen:" << seen.substr(from, 800);
}

}  // namespace webauth
