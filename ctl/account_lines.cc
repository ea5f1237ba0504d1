#include "ctl/account_lines.h"

#include <map>
#include <string_view>

#include "common/terminal_text.h"
#include "ctl/account_edit.h"
#include "ctl/piece_file.h"
#include "ctl/validity_text.h"
#include "daemon/login/account_line.h"

namespace webauth {
namespace {

using AccountPiece = Piece<ACCOUNT_LINE_SIZE>;
using FirstLines = std::map<std::string, std::size_t, std::less<>>;

std::string_view password_of(const AccountLine& line) {
  return line.count > FIELD_PASSWORD ? line.fields[FIELD_PASSWORD] : std::string_view();
}

std::string_view validity_of(const AccountLine& line) {
  return line.count > FIELD_VALIDITY ? line.fields[FIELD_VALIDITY].substr(0, VALIDITY_LENGTH)
                                     : std::string_view();
}

const char* password_words(std::string_view password) {
  if (password.empty()) return "none";
  if (is_hash(password)) return "hash";
  return password.size() > ACCOUNT_PASSWORD_LENGTH ? "too long" : "plain";
}

std::vector<std::string> name_faults(const AccountPiece& piece, const AccountLine& line) {
  std::vector<std::string> faults;
  const std::string_view name = line.fields[FIELD_USER];
  if (!piece.is_first) {
    faults.emplace_back("read as a line of its own, since its line is longer than 254 bytes");
  }
  if (name.empty()) faults.emplace_back("a line without a name is an account with an empty one");
  if (name.starts_with('#')) {
    faults.emplace_back("no comment: the file has none, and '" + terminal_text(name) +
                        "' is an account");
  }
  if (name.size() > ACCOUNT_NAME_LENGTH) faults.emplace_back("of the name 63 bytes count");
  if (terminal_text(name) != name) {
    faults.emplace_back("the name holds what is not printable: '" + terminal_text(name) + "'");
  }
  return faults;
}

void add_password_fault(std::vector<std::string>& faults, std::string_view password) {
  if (password.empty()) faults.emplace_back("no password: webauth-portal admits nobody with it");
  if (password.size() > ACCOUNT_PASSWORD_LENGTH && !is_hash(password)) {
    faults.emplace_back("a password of more than 15 bytes: webauth-portal admits nobody with it");
  }
}

AccountReading read_piece(const AccountPiece& piece, const FirstLines& first_lines,
                          bool several_sessions, std::time_t now) {
  const AccountLine line = split_account_line(piece.text);
  const AccountLimit limit = account_limit(line);
  AccountReading account{.line = piece.line,
                         .name = terminal_text(account_name(line)),
                         .password = password_words(password_of(line)),
                         .meaning = limit_words(limit, validity_of(line), now),
                         .faults = name_faults(piece, line)};
  if (account_name(line).empty()) return account;
  add_password_fault(account.faults, password_of(line));
  if (line.count <= FIELD_VALIDITY) {
    account.faults.emplace_back("fewer than four fields: the account has no limit");
  } else if (const std::string fault = validity_fault(limit, validity_of(line)); !fault.empty()) {
    account.faults.push_back(fault);
  }
  const auto first = first_lines.find(account_name(line));
  if (first != first_lines.end()) {
    account.meaning = "never used: line " + std::to_string(first->second) + " has the name";
    account.faults.push_back(account.meaning);
  }
  if (is_left_out(limit, several_sessions)) {
    account.meaning = "left out: hours per day with WEBAUTH_MULTIUSER";
    account.faults.push_back(account.meaning);
  }
  return account;
}

}  // namespace

std::vector<AccountReading> read_account_lines(std::FILE* file, bool several_sessions,
                                               std::time_t now) {
  std::vector<AccountReading> accounts;
  FirstLines first_lines;
  for_each_piece<ACCOUNT_LINE_SIZE>(file, [&](const AccountPiece& piece) {
    accounts.push_back(read_piece(piece, first_lines, several_sessions, now));
    const AccountLine line = split_account_line(piece.text);
    if (!is_left_out(account_limit(line), several_sessions)) {
      first_lines.emplace(account_name(line), piece.line);
    }
  });
  return accounts;
}

}  // namespace webauth
