#include "daemon/users/published_line.h"

#include <arpa/inet.h>

#include <charconv>
#include <iterator>

namespace webauth {
namespace {

void append_number(std::string& text, std::int32_t number) {
  char digits[11];
  const auto end = std::to_chars(digits, digits + sizeof digits, number).ptr;
  text.append(digits, end);
}

// Cuts the last item, up to the last blank, off the end of `line`.
std::optional<std::string_view> take_item(std::string_view& line) {
  const std::size_t blank = line.rfind(' ');
  if (blank == std::string_view::npos) return {};
  const std::string_view item = line.substr(blank + 1);
  line = line.substr(0, blank);
  return item;
}

std::optional<std::int32_t> take_number(std::string_view& line) {
  const auto item = take_item(line);
  if (!item) return {};
  std::int32_t number = 0;
  const char* const end = item->data() + item->size();
  const auto [next, error] = std::from_chars(item->data(), end, number);
  if (error != std::errc{} || next != end) return {};
  return number;
}

// As lenient as the daemon, which lists every form of an address that inet_addr takes.
bool is_address(std::string_view text) {
  in_addr address{};
  return inet_aton(std::string(text).c_str(), &address) != 0;
}

}  // namespace

void append_published_line(std::string& text, const PublishedLine& line) {
  text.append(line.user).push_back(' ');
  text.append(line.ip).push_back(' ');
  text.append(line.mac).push_back(' ');
  append_number(text, line.login_time);
  text.push_back(' ');
  append_number(text, static_cast<std::int32_t>(line.mode));
  text.append(" \n");
}

std::optional<PublishedLine> read_published_line(std::string_view line) {
  if (!line.ends_with(' ')) return {};
  line.remove_suffix(1);
  const auto mode = take_number(line);
  const auto login_time = take_number(line);
  const auto mac = take_item(line);
  const auto ip = take_item(line);
  if (!mode || !login_time || !mac || !ip || !is_address(*ip)) return {};
  if (*mode < 0 || *mode >= static_cast<std::int32_t>(std::size(AUTH_MODES))) return {};
  return PublishedLine{.user = line,
                       .ip = *ip,
                       .mac = *mac,
                       .login_time = *login_time,
                       .mode = static_cast<AuthMode>(*mode)};
}

}  // namespace webauth
