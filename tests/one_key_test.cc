#include <sys/stat.h>

#include <filesystem>
#include <functional>

#include "support/world.h"
#include "users/registration_path.h"

namespace webauth {
namespace {

namespace fs = std::filesystem;

constexpr char MAC_A[] = "0A:1b:2c:3d:4e:5f";
constexpr char MAC_B[] = "66:77:88:99:aa:bb";

const std::string ON = "R1 0 K5 syslog.webauth_userti syslog.webauth_onuser ";
const std::string ONLINE_END = "  - webident - -v ident.onekeyident ident.webidentup";
const Lines REFRESHED = {ON,
                         "@#@ log_info n - -   - webident - -v ident.userident ident.webidentup  "
                         "ident.useridentname +  "};

Lines online_lines(const std::string& client) {
  return {ON, "@#@ log_info n " + client + ONLINE_END};
}

class OneKeyTest : public World {};

TEST_F(OneKeyTest, AdmitsInEveryMode) {
  const struct {
    const char *type, *reply, *mode;
  } rows[] = {{"LOCAL", "300: 1", "0"},
              {"ADVERT", "", "1"},
              {"WEIXIN", "300: 1", "2"},
              {"anything", "300: 1", "0"}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.type);
    reset();
    start(std::string("WEBAUTH_SECTYPE=") + row.type + "\n");
    log(), kernel();
    EXPECT_EQ(row.reply, login("10.20.30.40", MAC_A));
    EXPECT_EQ(Lines{"360: 178 0 0 pid 168 0 281e140a 2"}, kernel());
    EXPECT_EQ(online_lines("10.20.30.40 0A:1b:2c:3d:4e:5f"), log());
    const std::string first = std::string(" 10.20.30.40 ") + MAC_A + " NOW " + row.mode + " \n";
    EXPECT_EQ(first, published());
    EXPECT_EQ(row.reply, login("10.20.30.4", ""));
    EXPECT_EQ(first + " 10.20.30.4  NOW " + row.mode + " \n", published());
  }
}

TEST_F(OneKeyTest, RefreshTellsTheLogOnly) {
  start();
  login("10.0.0.1", MAC_A);
  login("10.0.0.2", MAC_A);
  log(), kernel();
  const std::string before = published();
  struct stat list {};
  stat(REGISTRATION_FILE, &list);
  EXPECT_EQ("", login("10.0.0.1", MAC_B));
  EXPECT_EQ(REFRESHED, log());
  EXPECT_EQ(Lines{}, kernel());
  struct stat now {};
  stat(REGISTRATION_FILE, &now);
  EXPECT_EQ(list.st_ino, now.st_ino) << "not written again";
  EXPECT_EQ(before, published());
  EXPECT_EQ("300: 1", login("10.0.0.3", MAC_A));
  EXPECT_EQ(std::string(" 10.0.0.1 ") + MAC_B + " NOW 0 \n 10.0.0.2 " + MAC_A +
                " NOW 0 \n 10.0.0.3 " + MAC_A + " NOW 0 \n",
            published());
}

TEST_F(OneKeyTest, AddressThatDoesNotParseIsLoggedOnly) {
  start();
  kernel(), log();
  for (const std::string ip : {"", "visitor", "10.0.0.256", "10.0.0.1.2", "255.255.255.255"}) {
    for (int again = 0; again < 2; ++again) {
      EXPECT_EQ("", login(ip, MAC_A));
      EXPECT_EQ(online_lines(ip + " " + MAC_A), log());
    }
  }
  EXPECT_EQ(Lines{}, kernel());
  EXPECT_FALSE(fs::exists(REGISTRATION_FILE));
}

TEST_F(OneKeyTest, KernelSideThatHasGoneIsNotNoticed) {
  start();
  close_kernel_side();
  EXPECT_EQ("300: 1", login("10.0.0.1", MAC_A));
  EXPECT_EQ(std::string(" 10.0.0.1 ") + MAC_A + " NOW 0 \n", published());
}

TEST_F(OneKeyTest, WhatIsPlantedAtTheTemporaryPathIsReplaced) {
  const char* temp = REGISTRATION_TEMP_FILE;
  const std::function<void()> plants[] = {[=] { fs::create_directory(temp); },
                                          [=] { mkfifo(temp, 0600); },
                                          [=] { fs::create_symlink("/tmp/precious", temp); },
                                          [=] { fs::create_hard_link("/tmp/precious", temp); },
                                          [=] { fs::create_symlink("/tmp/nowhere", temp); }};
  write_file("/tmp/precious", "precious");
  fs::create_directory(REGISTRATION_FILE);
  start();
  std::string expected;
  for (std::size_t i = 0; i < std::size(plants); ++i) {
    plants[i]();
    const std::string ip = "10.0.0." + std::to_string(i);
    EXPECT_EQ("300: 1", login(ip, "m"));
    expected += " " + ip + " m NOW 0 \n";
    EXPECT_EQ(expected, published()) << i;
    EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(REGISTRATION_FILE))) << i;
    EXPECT_EQ("precious", read_file("/tmp/precious"));
    EXPECT_FALSE(fs::exists("/tmp/nowhere"));
  }
}

}  // namespace
}  // namespace webauth
