// Passwords, which are never taken from the command line: other users can read it there.
#pragma once

#include <string>

namespace webauth {

/// Reads one line from standard input; on a terminal it asks and does not show what is typed.
/// Throws OperatorError when there is none, when it is empty or when it is too long for any
/// password.
std::string read_password();

/// The same, and on a terminal once more: both must agree.
std::string read_new_password();

/// The crypt(3) hash, SHA-512 with a fresh salt. Throws OperatorError.
std::string hashed_password(const std::string& password);

}  // namespace webauth
