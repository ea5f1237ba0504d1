#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>

#include "daemon/platform/settings_store.h"
#include "tests/support/world_test.h"

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
};

TEST_F(SettingsTest, SeesChangesByOthersAndKeepsTheTextBefore) {
  write_file(STORE, "A=a rather long text that lies on the heap\n");
  const char* before = nvram_get("A");
  write_file(STORE, "A=another long text that lies on the heap!\n");
  EXPECT_STREQ("another long text that lies on the heap!", nvram_get("A"));
  EXPECT_STREQ("a rather long text that lies on the heap", before);
}

TEST_F(SettingsTest, CommitKeepsEverythingElse) {
  write_file(STORE, "# first\nA=1\n\nB=2\nA=3\n#B=9\nno sign\nC=4");
  chmod(STORE, 0640);
  EXPECT_EQ(0, nvram_set("A", "5 = five"));
  EXPECT_EQ(0, nvram_set("D", ""));
  EXPECT_STREQ("5 = five", nvram_get("A")) << "this process sees it at once";
  EXPECT_EQ(0, nvram_set("A", nvram_get("A")));
  write_file(STORE, "# first\nA=1\n\nB=7\nA=3\n#B=9\nno sign\nC=4");
  chmod(STORE, 0640);
  EXPECT_EQ(0, nvram_commit());
  EXPECT_EQ("# first\nA=1\n\nB=7\nA=5 = five\n#B=9\nno sign\nC=4\nD=\n", read_file(STORE));
  EXPECT_EQ(fs::perms{0640}, fs::status(STORE).permissions());
  fs::remove(STORE);
  EXPECT_STREQ(nullptr, nvram_get("A")) << "committed, so the file decides again";
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

}  // namespace
}  // namespace webauth
