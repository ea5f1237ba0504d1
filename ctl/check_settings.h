// What is wrong or surprising about the settings.
#pragma once

#include "ctl/finding.h"

namespace webauth {

/// Of the settings file. Nothing is sent and no name is looked up.
Findings check_settings();

}  // namespace webauth
