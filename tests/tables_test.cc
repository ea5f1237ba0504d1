// The table of online users beside a plain array, and files under /tmp beside what others plant.
#include <sys/stat.h>

#include <filesystem>
#include <functional>
#include <random>

#include "daemon/core/settings.h"
#include "daemon/kernel/kernel_message.h"
#include "daemon/login/email_group.h"
#include "daemon/users/registration_file.h"
#include "daemon/users/user_table.h"
#include "tests/support/world_test.h"

namespace webauth {
namespace {

namespace fs = std::filesystem;

std::string written(OnlineUserTable& table) {
  write_registration_file(REGISTRATION_TEMP_FILE, table);
  return read_file(REGISTRATION_FILE);
}

class Files : public WorldTest {};

TEST_F(Files, WhatIsPlantedAtTheirPathsIsReplaced) {
  write_file("/tmp/precious", "precious");
  const std::function<void(const char*)> plants[] = {
      [](const char* path) { fs::create_directory(path); },
      [](const char* path) { mkfifo(path, 0600); },
      [](const char* path) { fs::create_symlink("/tmp/precious", path); },
      [](const char* path) { fs::create_hard_link("/tmp/precious", path); },
      [](const char* path) { fs::create_symlink("/tmp/nowhere", path); }};
  for (const auto& plant : plants) {
    fs::remove(GROUP_FILE);
    plant(GROUP_FILE), plant(REGISTRATION_TEMP_FILE);
    OnlineUserTable table;
    EXPECT_EQ("", written(table));
    EXPECT_EQ(0, email_group_update(EMAIL_GROUP_ADD, 1));
    EXPECT_TRUE(read_file(GROUP_FILE).ends_with(" Email_Auth 1.0.0.0  \n"));
    EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(REGISTRATION_FILE)));
    EXPECT_EQ("precious", read_file("/tmp/precious"));
    EXPECT_FALSE(fs::exists("/tmp/nowhere"));
  }
}

// The table and its published text are kept step by step; a plain array, searched and rendered
// whole, says what they must be.
class Tables : public testing::Test {
 protected:
  void step() {
    const std::size_t choice = pick(10), at = pick(model_.size() + 1);
    if (at == model_.size() || choice < 5) {
      model_.push_back(random_user());
      append_user(table_, model_.back());
    } else if (choice < 6) {
      model_.erase(std::next(model_.begin(), int(at)));
      remove_user(table_, at);
    } else if (choice == 6) {
      std::vector<std::size_t> positions;
      for (std::size_t i = at; i < model_.size(); i += 1 + pick(4)) positions.push_back(i);
      for (auto i = positions.rbegin(); i != positions.rend(); ++i) {
        model_.erase(std::next(model_.begin(), int(*i)));
      }
      remove_users(table_, positions);
    } else {
      model_[at] = random_user();
      change_user(table_, at, [&](OnlineUser& changed) { changed = model_[at]; });
    }
  }

  void expect_same_lookups(const std::string& ip) const {
    EXPECT_EQ(first([&](auto& u) { return u.ip == ip; }), find_by_ip(table_, ip));
    for (const std::size_t from : {0U, 2U, 30U}) {  // the same texts serve as names
      EXPECT_EQ(first([&](auto& u) { return u.user == ip; }, from), find_by_user(table_, ip, from));
    }
    const auto is_online = [&](auto& u) { return u.online == 1 && u.ip == ip; };
    EXPECT_EQ(first(is_online), find_online_by_ip(table_, ip));
    EXPECT_EQ(first([&](auto& u) { return u.kind == 2 && u.ip == ip; }),
              find_user_entry_by_ip(table_, ip));
    EXPECT_EQ(first([&](auto& u) { return is_online(u) && u.limit_type == 1; }),
              find_expiring_by_ip(table_, ip));
    for (const int kind : {0, 1, 2, 3}) {
      EXPECT_EQ(first([&](auto& u) { return kind != 2 && is_online(u) && u.kind == kind; }),
                find_kernel_entry(table_, kind, ip));
    }
  }

  void expect_same_list() {
    std::string list;
    for (const OnlineUser& user : model_) {
      if (user.online != 1 || user.kind != ENTRY_USER) continue;
      list += user.user + " " + user.ip + " " + user.mac + " ";
      list += std::to_string(user.login_time) + " 0 \n";
    }
    EXPECT_EQ(list, written(table_));
  }

  std::size_t pick(std::size_t count) { return random_() % count; }

  const Lines keys_ = {"", "10.0.0.1", "10.0.0.10", "%s%n \xff", std::string(64, 'n')};

 private:
  OnlineUser random_user() {
    const std::int32_t times[] = {INT32_MIN, -1, 0, INT32_MAX, static_cast<int>(random_())};
    OnlineUser user;
    user.user = keys_[pick(keys_.size())];
    user.ip = keys_[pick(keys_.size())];
    user.mac = std::string(pick(20), 'm');
    user.login_time = times[pick(5)];
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

TEST_F(Tables, AgreeWithAPlainArray) {
  for (int i = 0; i < 4'000 && !HasFailure(); ++i) {
    SCOPED_TRACE(i);
    step();
    for (const std::string& key : keys_) expect_same_lookups(key);
    if (pick(3) == 0) expect_same_list();
  }
}

}  // namespace
}  // namespace webauth
