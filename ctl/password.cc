#include "ctl/password.h"

#include <sys/random.h>
#include <termios.h>
#include <unistd.h>  // crypt: where libc has it, there may be no header of its own

#include <cerrno>
#include <cstring>
#include <iostream>
#include <string_view>

#include "ctl/operator_error.h"

namespace webauth {
namespace {

constexpr std::size_t LONGEST_INPUT = 512;
constexpr char CONTROL_C = 3;

// A terminal that does not show what is typed. Ctrl-C is a character that ends the line, so that no
// signal ends the program before the terminal is as it was.
class HiddenInput {
 public:
  HiddenInput() {
    if (tcgetattr(STDIN_FILENO, &before_) != 0) throw OperatorError("cannot hide the password");
    termios hidden = before_;
    hidden.c_lflag &= ~static_cast<tcflag_t>(ECHO | ISIG);
    hidden.c_cc[VEOL] = CONTROL_C;
    if (tcsetattr(STDIN_FILENO, TCSAFLUSH, &hidden) != 0) {
      throw OperatorError("cannot hide the password");
    }
  }
  ~HiddenInput() {
    (void)tcsetattr(STDIN_FILENO, TCSAFLUSH, &before_);
    std::cerr << std::endl;  // the one that was typed was not shown
  }
  HiddenInput(const HiddenInput&) = delete;
  HiddenInput& operator=(const HiddenInput&) = delete;

 private:
  termios before_{};
};

std::string read_line() {
  std::string line;
  char c = 0;
  for (;;) {
    const ssize_t count = read(STDIN_FILENO, &c, 1);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) {
      throw OperatorError(std::string("cannot read the password: ") + std::strerror(errno));
    }
    if (count == 0 || c == '\n') return line;
    if (c == CONTROL_C) throw OperatorError("interrupted");
    line += c;
    if (line.size() > LONGEST_INPUT) throw OperatorError("the password is too long");
  }
}

std::string ask(const char* prompt) {
  std::cerr << prompt << std::flush;
  const HiddenInput hidden;
  return read_line();
}

std::string demand_some(std::string password) {
  if (password.empty()) throw OperatorError("no password on standard input");
  return password;
}

}  // namespace

std::string read_password() {
  return demand_some(isatty(STDIN_FILENO) == 1 ? ask("Password: ") : read_line());
}

std::string read_new_password() {
  std::string password = read_password();
  if (isatty(STDIN_FILENO) == 1 && ask("Once more: ") != password) {
    throw OperatorError("the two passwords differ");
  }
  return password;
}

std::string hashed_password(const std::string& password) {
  constexpr std::string_view ALPHABET =
      "./0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
  static_assert(ALPHABET.size() == 64);
  unsigned char random[16];
  if (getrandom(random, sizeof random, 0) != sizeof random) {
    throw OperatorError(std::string("cannot make a salt: ") + std::strerror(errno));
  }
  std::string setting = "$6$";
  for (const unsigned char byte : random) setting += ALPHABET[byte % ALPHABET.size()];
  const char* const hash = crypt(password.c_str(), setting.c_str());
  if (hash == nullptr || !std::string_view(hash).starts_with(setting)) {
    throw OperatorError("crypt(3) has no SHA-512 here");
  }
  return hash;
}

}  // namespace webauth
