#include <gtest/gtest.h>

#include <random>

#include "core/settings.h"
#include "kernel/kernel_message.h"
#include "support/world.h"
#include "users/online_user.h"
#include "users/registration_file.h"

namespace webauth {
namespace {

OnlineUser online_user(std::string user, std::string ip, std::string mac, std::int32_t time) {
  OnlineUser result;
  result.kind = ENTRY_USER;
  result.online = 1;
  result.user = std::move(user);
  result.ip = std::move(ip);
  result.mac = std::move(mac);
  result.login_time = time;
  return result;
}

std::string written(OnlineUserTable& table) {
  write_registration_file(REGISTRATION_TEMP_FILE, table);
  return read_file(REGISTRATION_FILE);
}

TEST(RegistrationFile, LinesAreWrittenByteForByte) {
  const std::string name(64, 'n');
  OnlineUserTable table;
  EXPECT_EQ("", written(table));
  auth_mode = AuthMode::USERS;
  append_user(table, online_user("alice", "10.0.0.23", "00:11:22:33:44:55", 1'700'000'000));
  append_user(table, online_user("", "10.0.0.24", "66:77:88:99:aa:bb", 2'147'483'647));
  append_user(table, online_user("two words", "010.0.0.1", "", -1));
  append_user(table, online_user("%s%n", "", "-", 0));
  append_user(table, online_user(name, "1", "\xff\t", -2'147'483'647 - 1));
  EXPECT_EQ(
      "alice 10.0.0.23 00:11:22:33:44:55 1700000000 3 \n"
      " 10.0.0.24 66:77:88:99:aa:bb 2147483647 3 \n"
      "two words 010.0.0.1  -1 3 \n"
      "%s%n  - 0 3 \n" +
          name + " 1 \xff\t -2147483648 3 \n",
      written(table));
  auth_mode = AuthMode::LOCAL;
}

// The table and its published text are kept step by step; a plain array, searched and rendered
// whole, says what they must be.
class TableModel {
 public:
  void step() {
    const auto at = model_.empty() ? 0 : pick(model_.size());
    const auto choice = pick(10);
    if (model_.empty() || choice < 5) {
      model_.push_back(random_user());
      append_user(table_, model_.back());
    } else if (choice < 6) {
      model_.erase(model_.begin() + static_cast<std::ptrdiff_t>(at));
      remove_user(table_, at);
    } else if (choice == 6) {
      std::vector<std::size_t> positions;
      for (std::size_t i = at; i < model_.size(); i += 1 + pick(4)) positions.push_back(i);
      for (auto i = positions.rbegin(); i != positions.rend(); ++i) {
        model_.erase(model_.begin() + static_cast<std::ptrdiff_t>(*i));
      }
      remove_users(table_, positions);
    } else {
      const OnlineUser user = random_user();
      model_[at] = user;
      change_user(table_, at, [&](OnlineUser& changed) { changed = user; });
    }
  }

  void expect_same_lookups() const {
    for (const std::string& key : KEYS) {
      EXPECT_EQ(first([&](auto& u) { return u.ip == key; }), find_by_ip(table_, key));
      for (const std::size_t from : {0, 2, 30}) {
        EXPECT_EQ(first([&](auto& u) { return u.user == key; }, from),
                  find_by_user(table_, key, from));
      }
      EXPECT_EQ(first([&](auto& u) { return u.online == 1 && u.ip == key; }),
                find_online_by_ip(table_, key));
      EXPECT_EQ(first([&](auto& u) { return u.kind == 2 && u.ip == key; }),
                find_user_entry_by_ip(table_, key));
      EXPECT_EQ(first([&](auto& u) { return u.online == 1 && u.limit_type == 1 && u.ip == key; }),
                find_expiring_by_ip(table_, key));
      for (const int kind : {0, 1, 2, 3}) {
        const auto matches = [&](const OnlineUser& u) {
          return kind != 2 && u.kind == kind && u.online == 1 && u.ip == key;
        };
        EXPECT_EQ(first(matches), find_kernel_entry(table_, kind, key)) << kind;
      }
    }
  }

  void expect_same_list() {
    std::string list;
    for (const OnlineUser& user : model_) {
      if (user.online != 1 || user.kind != 2) continue;
      list += user.user + " " + user.ip + " " + user.mac + " " + std::to_string(user.login_time) +
              " 0 \n";
    }
    EXPECT_EQ(list, written(table_));
  }

  std::size_t pick(std::size_t count) { return random_() % count; }

 private:
  const Lines KEYS = {"", "10.0.0.1", "10.0.0.10", "010.0.0.1", "10.0.0.2"};

  OnlineUser random_user() {
    OnlineUser user = online_user(KEYS[pick(5)], KEYS[pick(5)], std::string(pick(20), 'm'),
                                  static_cast<std::int32_t>(random_()));
    user.kind = static_cast<std::int32_t>(pick(3) == 0 ? pick(4) : 2);
    user.online = pick(5) == 0 ? 0 : 1;
    user.limit_type = static_cast<std::int32_t>(pick(3));
    return user;
  }

  Position first(auto matches, std::size_t from = 0) const {
    for (std::size_t i = from; i < model_.size(); ++i) {
      if (matches(model_[i])) return i;
    }
    return std::nullopt;
  }

  std::mt19937 random_{20'240'229};
  std::vector<OnlineUser> model_;
  OnlineUserTable table_;
};

TEST(UserTable, AgreesWithAPlainArray) {
  TableModel model;
  for (int i = 0; i < 4'000 && !testing::Test::HasFailure(); ++i) {
    SCOPED_TRACE(i);
    model.step();
    model.expect_same_lookups();
    if (model.pick(3) == 0) model.expect_same_list();
  }
}

}  // namespace
}  // namespace webauth
