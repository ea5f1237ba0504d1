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

/// Shows two texts only from the line in which they begin to differ.
inline testing::AssertionResult same_lines(const std::string& expected, const std::string& seen) {
  const auto differ = std::mismatch(expected.begin(), expected.end(), seen.begin(), seen.end());
  if (expected == seen) return testing::AssertionSuccess();
  const auto from = expected.rfind('\n', std::size_t(differ.first - expected.begin())) + 1;
  return testing::AssertionFailure() << "expected:\n"
                                     << expected.substr(from, 800) << "\nseen:\n"
                                     << seen.substr(from, 800);
}

}  // namespace webauth
