#include "daemon/login/account_line.h"

#include <string>

namespace webauth {

AccountLine split_account_line(std::string_view line) {
  line = line.substr(0, line.find('\n'));
  AccountLine split;
  while (split.count < split.fields.size()) {
    const std::size_t end = line.find(' ');
    split.fields[split.count++] = line.substr(0, end);
    if (end == std::string_view::npos) break;
    line.remove_prefix(end + 1);
  }
  return split;
}

std::string_view account_name(const AccountLine& line) {
  return line.fields[FIELD_USER].substr(0, ACCOUNT_NAME_LENGTH);
}

std::string_view account_note(const AccountLine& line) {
  const std::string_view note = line.fields[FIELD_NOTE];
  return note == "*" ? std::string_view() : note.substr(0, ACCOUNT_NAME_LENGTH);
}

AccountLimit account_limit(const AccountLine& line) {
  if (line.count <= FIELD_VALIDITY) return {};
  const std::string validity(line.fields[FIELD_VALIDITY].substr(0, VALIDITY_LENGTH));
  return parse_validity(validity.c_str());
}

}  // namespace webauth
