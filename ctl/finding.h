// What is wrong or surprising about a file that the daemon reads.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace webauth {

struct Finding {
  std::size_t line;   ///< from 1; 0: the file as a whole
  std::string words;  ///< safe for a terminal
};

using Findings = std::vector<Finding>;

}  // namespace webauth
