// What is wrong or surprising about the files of names: the e-mail white list and the host names of
// the walled garden.
#pragma once

#include <cstdio>

#include "ctl/finding.h"

namespace webauth {

/// `count` is how many entries the daemon finds there.
Findings check_white_list(std::FILE* file, std::size_t& count);
Findings check_garden_names(std::FILE* file, std::size_t& count);

}  // namespace webauth
