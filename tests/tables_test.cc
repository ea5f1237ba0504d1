// The table of online users and its published text are kept step by step; a plain array, searched
// and rendered whole, says what they must be.
#include <gtest/gtest.h>

#include <random>

#include "daemon/kernel/kernel_message.h"
#include "daemon/users/user_table.h"

namespace webauth {
namespace {

class Tables : public testing::Test {
 protected:
  void step() {
    const std::size_t choice = pick(10), at = pick(model_.size() + 1);
    if (at == model_.size() || choice < 5) {
      model_.push_back(random_user());
      append_user(table_, model_.back());
    } else if (choice == 5) {
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
    const auto online = [&](auto& u) { return u.online == 1 && u.ip == ip; };
    EXPECT_EQ(first([&](auto& u) { return u.ip == ip; }), find_by_ip(table_, ip));
    EXPECT_EQ(first(online), find_online_by_ip(table_, ip));
    EXPECT_EQ(first([&](auto& u) { return u.kind == 2 && u.ip == ip; }),
              find_user_entry_by_ip(table_, ip));
    EXPECT_EQ(first([&](auto& u) { return online(u) && u.limit_type == 1; }),
              find_expiring_by_ip(table_, ip));
    for (const int i : {0, 1, 2, 30}) {  // a kind, or where to begin; the texts serve as names too
      EXPECT_EQ(first([&](auto& u) { return i != 2 && online(u) && u.kind == i; }),
                find_kernel_entry(table_, i, ip));
      EXPECT_EQ(first([&](auto& u) { return u.user == ip; }, unsigned(i)),
                find_by_user(table_, ip, unsigned(i)));
    }
  }

  void expect_same_list() {
    std::string list;
    for (const OnlineUser& user : model_) {
      if (user.online != 1 || user.kind != ENTRY_USER) continue;
      list += user.user + " " + user.ip + " " + user.mac + " ";
      list += std::to_string(user.login_time) + " 0 \n";
    }
    EXPECT_EQ(list, published_list(table_));
  }

  std::size_t pick(std::size_t count) { return random_() % count; }

  const std::vector<std::string> keys_ = {"", "10.0.0.1", "10.0.0.10", std::string(64, 'n')};

 private:
  OnlineUser random_user() {
    const std::int32_t times[] = {INT32_MIN, -1, 0, INT32_MAX, static_cast<int>(random_())};
    OnlineUser user;
    user.user = keys_[pick(keys_.size())];
    user.ip = keys_[pick(keys_.size())];
    user.mac = std::string(pick(20), 'm');
    user.login_time = times[pick(5)];
    user.kind = pick(3) == 0 ? int(pick(4)) : 2;
    user.online = pick(5) == 0 ? 0 : 1;
    user.limit_type = int(pick(3));
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
