// The words of a line in the tests' tables and transcripts.
#pragma once

#include <string>

#include "tests/support/program.h"

namespace webauth {

/// The words between blanks; what stands in double quotes is one. In a word, \n, \xNN and \N*c (N
/// times the character) are what they mean.
Lines words_of(const std::string& line);

}  // namespace webauth
