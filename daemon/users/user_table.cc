#include "daemon/users/user_table.h"

#include <algorithm>
#include <functional>
#include <numeric>
#include <utility>

#include "daemon/core/settings.h"
#include "daemon/kernel/kernel_message.h"
#include "daemon/users/published_line.h"

namespace webauth {
namespace {

std::uint32_t hash_of(std::string_view text) {
  return static_cast<std::uint32_t>(std::hash<std::string_view>{}(text));
}

// The first record whose hash is that of `text` and which `matches`.
template <typename Matches>
Position find_first(const Records& users, const Hashes& hashes, std::string_view text,
                    Matches matches, std::size_t from = 0) {
  const std::uint32_t hash = hash_of(text);
  const auto begin = hashes.begin() + static_cast<std::ptrdiff_t>(std::min(from, hashes.size()));
  for (auto at = std::find(begin, hashes.end(), hash); at != hashes.end();
       at = std::find(at + 1, hashes.end(), hash)) {
    const auto position = static_cast<std::size_t>(at - hashes.begin());
    if (matches(*users[position])) return position;
  }
  return std::nullopt;
}

template <typename Matches>
Position find_first_ip(const OnlineUserTable& table, std::string_view ip, Matches matches) {
  return find_first(table.users, table.ip_hashes, ip,
                    [&](const OnlineUser& user) { return user.ip == ip && matches(user); });
}

template <typename Element>
void erase_at(std::vector<Element>& elements, std::size_t position) {
  elements.erase(elements.begin() + static_cast<std::ptrdiff_t>(position));
}

// Closes the gaps of all `positions`, which ascend and are at least one.
template <typename Element>
void erase_all(std::vector<Element>& elements, const std::vector<std::size_t>& positions) {
  std::size_t kept = positions.front();
  auto gap = positions.begin();
  for (std::size_t i = kept; i < elements.size(); ++i) {
    if (gap != positions.end() && *gap == i) {
      ++gap;
    } else {
      elements[kept++] = std::move(elements[i]);
    }
  }
  elements.erase(elements.begin() + static_cast<std::ptrdiff_t>(kept), elements.end());
}

// Where the published line of a record begins.
std::size_t line_offset(const OnlineUserTable& table, std::size_t position) {
  const auto first = table.listed_lengths.begin();
  return std::accumulate(first, first + static_cast<std::ptrdiff_t>(position), std::size_t{0});
}

// Appends the record's line, if it has one, and returns its length.
std::uint32_t append_line(std::string& text, const OnlineUser& user) {
  if (user.online != 1 || user.kind != ENTRY_USER) return 0;
  const std::size_t before = text.size();
  append_published_line(text, {.user = user.user,
                               .ip = user.ip,
                               .mac = user.mac,
                               .login_time = user.login_time,
                               .mode = auth_mode});
  return static_cast<std::uint32_t>(text.size() - before);
}

}  // namespace

void append_user(AccountTable& table, OnlineUser user) {
  table.user_hashes.push_back(hash_of(user.user));
  table.users.push_back(std::make_unique<OnlineUser>(std::move(user)));
}

void remove_user(AccountTable& table, std::size_t position) {
  erase_at(table.user_hashes, position);
  erase_at(table.users, position);
}

Position find_by_user(const AccountTable& table, std::string_view user) {
  return find_first(table.users, table.user_hashes, user,
                    [&](const OnlineUser& u) { return u.user == user; });
}

void append_user(OnlineUserTable& table, OnlineUser user) {
  table.user_hashes.push_back(hash_of(user.user));
  table.ip_hashes.push_back(hash_of(user.ip));
  table.users.push_back(std::make_unique<OnlineUser>(std::move(user)));
}

void remove_user(OnlineUserTable& table, std::size_t position) {
  if (position < table.listed_lengths.size()) {
    table.listed_text.erase(line_offset(table, position), table.listed_lengths[position]);
    erase_at(table.listed_lengths, position);
  }
  erase_at(table.user_hashes, position);
  erase_at(table.ip_hashes, position);
  erase_at(table.users, position);
}

void remove_users(OnlineUserTable& table, const std::vector<std::size_t>& positions) {
  if (positions.empty()) return;
  if (positions.front() < table.listed_lengths.size()) {  // the lines behind are rendered anew
    table.listed_text.resize(line_offset(table, positions.front()));
    table.listed_lengths.resize(positions.front());
  }
  erase_all(table.user_hashes, positions);
  erase_all(table.ip_hashes, positions);
  erase_all(table.users, positions);
}

void note_user_changed(OnlineUserTable& table, std::size_t position) {
  const OnlineUser& user = *table.users[position];
  table.user_hashes[position] = hash_of(user.user);
  table.ip_hashes[position] = hash_of(user.ip);
  if (position >= table.listed_lengths.size()) return;
  std::string line;
  const std::uint32_t length = append_line(line, user);
  table.listed_text.replace(line_offset(table, position), table.listed_lengths[position], line);
  table.listed_lengths[position] = length;
}

const std::string& published_list(OnlineUserTable& table) {
  for (std::size_t i = table.listed_lengths.size(); i < table.users.size(); ++i) {
    table.listed_lengths.push_back(append_line(table.listed_text, user_at(table, i)));
  }
  return table.listed_text;
}

Position find_by_ip(const OnlineUserTable& table, std::string_view ip) {
  return find_first_ip(table, ip, [](const OnlineUser&) { return true; });
}

Position find_online_by_ip(const OnlineUserTable& table, std::string_view ip) {
  return find_first_ip(table, ip, [](const OnlineUser& u) { return u.online == 1; });
}

Position find_user_entry_by_ip(const OnlineUserTable& table, std::string_view ip) {
  return find_first_ip(table, ip, [](const OnlineUser& u) { return u.kind == ENTRY_USER; });
}

Position find_by_user(const OnlineUserTable& table, std::string_view user, std::size_t from) {
  return find_first(
      table.users, table.user_hashes, user, [&](const OnlineUser& u) { return u.user == user; },
      from);
}

Position find_expiring_by_ip(const OnlineUserTable& table, std::string_view ip) {
  return find_first_ip(table, ip, [](const OnlineUser& u) {
    return u.online == 1 && u.limit_type == LIMIT_EXPIRY_DATE;
  });
}

Position find_kernel_entry(const OnlineUserTable& table, std::int32_t kind, std::string_view ip) {
  return find_first_ip(table, ip, [&](const OnlineUser& u) {
    return u.kind != ENTRY_USER && u.kind == kind && u.online == 1;
  });
}

}  // namespace webauth
