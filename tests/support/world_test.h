// GoogleTest around a World, and texts compared line by line.
#pragma once

#include <gtest/gtest.h>

#include <string_view>

#include "tests/support/world.h"

namespace webauth {

/// Fixture with at most one daemon at a time, which must be alive and silent at the end.
class WorldTest : public testing::Test, protected World {
  void TearDown() override { end_daemon(); }
};

/// Shows two texts only from the step ("> ...") in which they begin to differ.
testing::AssertionResult same_lines(std::string_view expected, std::string_view seen);

}  // namespace webauth
