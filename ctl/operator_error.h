// What ends webauthctl with a message for its operator and exit status 1.
#pragma once

#include <stdexcept>

namespace webauth {

class OperatorError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace webauth
