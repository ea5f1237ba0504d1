#include "portal/account_check.h"

#include <openssl/crypto.h>
#include <unistd.h>  // crypt: where libc has it, there may be no header of its own

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>

#include "common/file.h"
#include "daemon/login/account_line.h"
#include "portal/login_rules.h"

namespace webauth {
namespace {

// A thousand times the default would hold everybody up for seconds.
constexpr unsigned MOST_ROUNDS = 100'000;

bool is_hash(std::string_view column) {
  return column.starts_with("$5$") || column.starts_with("$6$");
}

bool is_affordable(std::string_view hash) {
  constexpr std::string_view ROUNDS = "rounds=";
  hash.remove_prefix(3);
  if (!hash.starts_with(ROUNDS)) return true;
  unsigned rounds = 0;
  const auto [next, error] =
      std::from_chars(hash.data() + ROUNDS.size(), hash.data() + hash.size(), rounds);
  return error == std::errc{} && rounds <= MOST_ROUNDS;
}

// In a time that does not depend on where they differ.
bool is_same(std::string_view a, std::string_view b) {
  return a.size() == b.size() && CRYPTO_memcmp(a.data(), b.data(), a.size()) == 0;
}

bool is_hash_of(std::string_view column, std::string_view password) {
  if (!is_affordable(column)) return false;
  std::string key(password);
  const char* hash = crypt(key.c_str(), std::string(column).c_str());
  const bool is_right = hash != nullptr && is_same(hash, column);
  OPENSSL_cleanse(key.data(), key.size());
  return is_right;
}

bool is_plain_password(std::string_view column, std::string_view password) {
  char padded[2][LONGEST_ACCOUNT_PASSWORD + 1] = {};
  if (column.empty() || column.size() >= sizeof padded[0]) return false;
  if (password.size() >= sizeof padded[0]) return false;
  column.copy(padded[0], column.size());
  password.copy(padded[1], password.size());
  const bool is_right = CRYPTO_memcmp(padded[0], padded[1], sizeof padded[0]) == 0;
  OPENSSL_cleanse(padded, sizeof padded);
  return is_right;
}

}  // namespace

bool is_password(std::string_view column, std::string_view password) {
  return is_hash(column) ? is_hash_of(column, password) : is_plain_password(column, password);
}

AccountVerdict check_account(const char* path, std::string_view user, std::string_view password) {
  char buffer[BUFSIZ];
  char line[ACCOUNT_LINE_SIZE] = {};
  const File file = open_for_reading(path);
  if (!file) return AccountVerdict::UNREADABLE;
  std::string column;  // of somebody else, while the name has not been found
  bool is_found = false;
  setbuf(file.get(), buffer);  // which can be wiped
  while (!is_found && read_line(file.get(), line)) {
    const AccountLine account = split_account_line(line);
    const std::string_view stored = account.fields[FIELD_PASSWORD];
    is_found = account_name(account) == user;
    if (is_found || is_hash(stored)) column = stored;
  }
  const bool is_broken = std::ferror(file.get()) != 0;
  const bool is_right = is_password(column, password) && is_found;
  OPENSSL_cleanse(column.data(), column.size());
  OPENSSL_cleanse(buffer, sizeof buffer);
  OPENSSL_cleanse(line, sizeof line);
  if (is_broken) return AccountVerdict::UNREADABLE;
  return is_right ? AccountVerdict::RIGHT : AccountVerdict::WRONG;
}

}  // namespace webauth
