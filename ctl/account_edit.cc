#include "ctl/account_edit.h"

#include <algorithm>

#include "common/text_line.h"
#include "ctl/line_file.h"
#include "ctl/operator_error.h"
#include "ctl/record_field.h"
#include "daemon/login/account_line.h"

namespace webauth {
namespace {

// With its newline a line must be one piece.
constexpr std::size_t LONGEST_LINE = ACCOUNT_LINE_SIZE - 2;

// A field of a line: a blank would end it.
void demand_field(const char* what, std::string_view text, std::size_t longest,
                  Shown shown = Shown::YES) {
  demand_plain(what, text, shown);
  if (text.find(' ') != std::string_view::npos) {
    throw OperatorError(std::string(what) + " holds a blank, which ends a field of the file" +
                        (shown == Shown::YES ? ": '" + terminal_text(text) + "'" : ""));
  }
  if (text.size() > longest) {
    throw OperatorError(std::string(what) + " is too long for the file: " +
                        std::to_string(text.size()) + " bytes, at most " + std::to_string(longest));
  }
}

void demand_line(std::string_view line) {
  if (line.size() <= LONGEST_LINE) return;
  throw OperatorError("the line is too long for the file: " + std::to_string(line.size()) +
                      " bytes, at most " + std::to_string(LONGEST_LINE));
}

// The daemon reads a physical line in pieces; only the first is looked at here.
bool has_name(std::string_view line, std::string_view user) {
  const std::string_view piece = line.substr(0, std::size_t{ACCOUNT_LINE_SIZE} - 1);
  return account_name(split_account_line(piece.substr(0, piece.find('\0')))) == user;
}

}  // namespace

void add_account_line(std::string& text, const NewAccount& account) {
  demand_field("user name", account.user, ACCOUNT_NAME_LENGTH);
  demand_field("note", account.note, ACCOUNT_NAME_LENGTH);
  const auto is_same = [&](std::string_view line) { return has_name(line, account.user); };
  if (const std::size_t line = find_line(text, is_same); line > 0) {
    throw OperatorError("account " + quoted_text(account.user) + " is in line " +
                        std::to_string(line) + " already");
  }
  const std::string line = account.user + ' ' + account.password + " - " + account.validity + ' ' +
                           (account.note.empty() ? "*" : account.note);
  demand_line(line);
  append_line(text, line);
}

std::size_t remove_account_lines(std::string& text, std::string_view user) {
  return remove_lines(text, [&](std::string_view line) { return has_name(line, user); });
}

void set_account_password(std::string& text, std::string_view user, std::string_view password) {
  for (std::string_view rest = text; !rest.empty();) {
    const std::string_view line = take_line(rest);
    if (!has_name(line, user)) continue;
    const auto begin = static_cast<std::size_t>(line.data() - text.data());
    const AccountLine split = split_account_line(line);
    const std::size_t name = split.fields[FIELD_USER].size();
    const std::size_t old = split.count > FIELD_PASSWORD ? split.fields[FIELD_PASSWORD].size() : 0;
    const std::string changed = std::string(line.substr(0, name)) + ' ' + std::string(password) +
                                std::string(line.substr(std::min(name + 1 + old, line.size())));
    demand_line(changed);
    text.replace(begin, line.size(), changed);
    return;
  }
  throw OperatorError("no account " + quoted_text(user) + " in " + ACCOUNT_FILE);
}

void demand_password(std::string_view password) {
  demand_field("password", password, ACCOUNT_PASSWORD_LENGTH, Shown::NO);
}

bool is_hash(std::string_view password) {
  return password.starts_with("$5$") || password.starts_with("$6$");
}

}  // namespace webauth
