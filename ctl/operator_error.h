// What ends webauthctl with a message for its operator.
#pragma once

#include <stdexcept>
#include <string>

#include "ctl/exit_status.h"

namespace webauth {

class OperatorError : public std::runtime_error {
 public:
  explicit OperatorError(const std::string& message, ExitStatus exit_status = STATUS_ERROR)
      : std::runtime_error(message), status(exit_status) {}

  ExitStatus status;
};

}  // namespace webauth
