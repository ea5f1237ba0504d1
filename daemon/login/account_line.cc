#include "daemon/login/account_line.h"

#include <array>

namespace webauth {
namespace {

constexpr std::size_t NAME_LENGTH = 63;  // also of the note
constexpr std::size_t VALIDITY_LENGTH = 15;

struct Fields {
  std::array<std::string_view, 5> text;
  std::size_t count = 0;
};

Fields split(std::string_view line) {
  line = line.substr(0, line.find('\n'));
  Fields fields;
  while (fields.count < fields.text.size()) {
    const std::size_t end = line.find(' ');
    fields.text[fields.count++] = line.substr(0, end);
    if (end == std::string_view::npos) break;
    line.remove_prefix(end + 1);
  }
  return fields;
}

}  // namespace

AccountLine read_account_line(std::string_view line) {
  const Fields fields = split(line);
  AccountLine account;
  account.user = fields.text[0].substr(0, NAME_LENGTH);
  account.password = fields.text[1];
  account.has_validity = fields.count >= 4;
  account.validity = fields.text[3].substr(0, VALIDITY_LENGTH);
  if (fields.text[4] != "*") account.note = fields.text[4].substr(0, NAME_LENGTH);
  return account;
}

}  // namespace webauth
