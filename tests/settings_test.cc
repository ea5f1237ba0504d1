#include "core/settings.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>

#include "platform/settings_store.h"
#include "support/world.h"

namespace webauth {
namespace {

namespace fs = std::filesystem;

constexpr char STORE[] = "/tmp/store/settings";

class SettingsTest : public testing::Test {
 protected:
  SettingsTest() {
    setenv("WEBAUTHD_SETTINGS", STORE, 1);
    fs::remove_all("/tmp/store");
    fs::create_directory("/tmp/store");
  }
  static std::string get(const char* key) {
    const char* value = nvram_get(key);
    return value == nullptr ? "(missing)" : value;
  }
};

TEST_F(SettingsTest, LinesOfTheFile) {
  const struct {
    const char *name, *text, *key, *value;
  } rows[] = {
      {"plain", "A=1\nB=2\n", "B", "2"},
      {"last line wins", "A=1\nB=2\nA=3\n", "A", "3"},
      {"raw value", "A= x=y #z\t\r\n", "A", " x=y #z\t\r"},
      {"empty value", "A=\n", "A", ""},
      {"no line end at the end", "B=2\nA=1", "A", "1"},
      {"comment", "A=1\n#A=2\n", "A", "1"},
      {"comment as a key", "#A=2\n", "#A", "(missing)"},
      {"no sign", "A\nAB=1\n", "A", "(missing)"},
      {"key is the end of another", "BA=1\n A=2\n", "A", "(missing)"},
      {"case counts", "a=1\n", "A", "(missing)"},
      {"empty file", "", "A", "(missing)"},
  };
  for (const auto& row : rows) {
    write_file(STORE, row.text);
    EXPECT_EQ(row.value, get(row.key)) << row.name;
  }
  fs::remove(STORE);
  EXPECT_EQ("(missing)", get("A")) << "missing file";
}

TEST_F(SettingsTest, SeesChangesByOthersAndKeepsTheTextBefore) {
  write_file(STORE, "A=a rather long text that lies on the heap\n");
  const char* before = nvram_get("A");
  write_file(STORE, "A=another long text that lies on the heap!\n");
  EXPECT_EQ("another long text that lies on the heap!", get("A"));
  EXPECT_STREQ("a rather long text that lies on the heap", before);
}

TEST_F(SettingsTest, CommitKeepsEverythingElse) {
  write_file(STORE, "# first\nA=1\n\nB=2\nA=3\n#B=9\nno sign\nC=4");
  chmod(STORE, 0640);
  EXPECT_EQ(0, nvram_set("A", "5 = five"));
  EXPECT_EQ(0, nvram_set("D", ""));
  EXPECT_EQ("5 = five", get("A")) << "this process sees it at once";
  EXPECT_EQ(0, nvram_set("A", nvram_get("A")));
  write_file(STORE, "# first\nA=1\n\nB=7\nA=3\n#B=9\nno sign\nC=4");
  chmod(STORE, 0640);
  EXPECT_EQ(0, nvram_commit());
  EXPECT_EQ("# first\nA=1\n\nB=7\nA=5 = five\n#B=9\nno sign\nC=4\nD=\n", read_file(STORE));
  EXPECT_EQ(fs::perms{0640}, fs::status(STORE).permissions());
  fs::remove(STORE);
  EXPECT_EQ("(missing)", get("A")) << "committed, so the file decides again";
}

TEST_F(SettingsTest, FailedCommitLeavesTheOldFileAlone) {
  write_file(STORE, "A=1\nB=2\n");
  EXPECT_EQ(0, nvram_set("A", "a value that will not fit"));
  std::signal(SIGXFSZ, SIG_IGN);
  rlimit old{};
  getrlimit(RLIMIT_FSIZE, &old);
  const rlimit small{.rlim_cur = 16, .rlim_max = old.rlim_max};
  setrlimit(RLIMIT_FSIZE, &small);
  const int full = nvram_commit();
  setrlimit(RLIMIT_FSIZE, &old);
  EXPECT_EQ(-1, full);
  EXPECT_EQ("A=1\nB=2\n", read_file(STORE));
  EXPECT_EQ(1, std::distance(fs::directory_iterator("/tmp/store"), {})) << "nothing beside it";
  EXPECT_EQ(0, nvram_commit());
  EXPECT_EQ("A=a value that will not fit\nB=2\n", read_file(STORE));
}

TEST_F(SettingsTest, WhatCannotStandOnALineIsRefused) {
  write_file(STORE, "A=1\n");
  const char* const rows[][2] = {
      {"A", "1\nB=2"}, {"A\nB", "1"}, {"A=B", "1"}, {"#A", "1"}, {"", "1"}};
  for (const auto& [key, value] : rows) EXPECT_EQ(-1, nvram_set(key, value)) << key << "=" << value;
  EXPECT_EQ(0, nvram_commit());
  EXPECT_EQ("A=1\n", read_file(STORE));
}

TEST_F(SettingsTest, ModesAndFlags) {
  const struct {
    const char *mode, *multi_user, *port;
    AuthMode expected_mode;
    int expected_multi_user, expected_port;
  } rows[] = {
      {"LOCAL", "YES", "993", AuthMode::LOCAL, 1, 993},
      {"ADVERT", "YESX", "110x", AuthMode::ADVERT, 1, 110},
      {"WEIXIN", "yes", "", AuthMode::WEIXIN, 0, 0},
      {"USERS", "YE", "pop3", AuthMode::USERS, 0, 0},
      {"EMAIL", " YES", "-25", AuthMode::EMAIL, 0, -25},
      {"users", "", "0x10", AuthMode::LOCAL, 0, 0},
      {"EMAIL ", "NO", "999999", AuthMode::LOCAL, 0, 999999},
  };
  EXPECT_EQ(AuthMode::LOCAL, read_auth_mode()) << "missing";
  EXPECT_EQ(0, read_multi_user()) << "missing";
  for (const auto& row : rows) {
    write_file(STORE, std::string("WEBAUTH_SECTYPE=") + row.mode + "\nWEBAUTH_MULTIUSER=" +
                          row.multi_user + "\nWEBAUTH_POP3SPORT=" + row.port +
                          "\nWEBAUTH_POP3SERVER=" + std::string(63, 'm') + "\n");
    EXPECT_EQ(row.expected_mode, read_auth_mode()) << row.mode;
    EXPECT_EQ(row.expected_multi_user, read_multi_user()) << row.multi_user;
    read_mail_server_settings();
    EXPECT_EQ(row.expected_port, mail_server_port) << row.port;
    EXPECT_EQ(std::string(63, 'm'), mail_server_host);
  }
  fs::remove(STORE);
  read_mail_server_settings();
  EXPECT_EQ(0, mail_server_port);
  EXPECT_STREQ("", mail_server_host);
}

}  // namespace
}  // namespace webauth
