// The settings file as others change it and as it is written; rules.txt has the rules of its lines.
#include <fcntl.h>
#include <poll.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <filesystem>
#include <fstream>

#include "daemon/platform/settings_store.h"
#include "tests/support/world_test.h"

namespace webauth {
namespace {

namespace fs = std::filesystem;

constexpr char STORE[] = "/tmp/store/settings";

class SettingsTest : public WorldTest {
 protected:
  SettingsTest() {
    setenv("WEBAUTHD_SETTINGS", STORE, 1);
    fs::create_directory("/tmp/store");
    // Where this can be had, files there have the times of the clock's ticks.
    (void)mount("none", "/tmp/store", "ramfs", 0, nullptr);
  }
  ~SettingsTest() override { (void)umount("/tmp/store"); }
};

// In place, so that only its bytes and times change; "old": its time is what it was before.
void rewrite(std::string_view text, bool old = false) {
  std::ofstream(STORE) << text;
  const timespec times[2] = {{.tv_sec = 1'000'000'000, .tv_nsec = 0}, {1'000'000'000, 0}};
  if (old) utimensat(AT_FDCWD, STORE, times, 0);
}

TEST_F(SettingsTest, EveryChangeByOthersIsSeen) {
  EXPECT_TRUE(nvram_open()) << "a missing file";
  write_file(STORE, "A=1\n");
  for (const char* text : {"A=2\n", "A=3\n", "A=4\n"}) {  // within one tick of the clock
    const char* held = nvram_get("A");
    rewrite(text);
    EXPECT_EQ(text[2], nvram_get("A")[0]);
    EXPECT_EQ(text[2] - 1, held[0]) << "two texts are held at a time";
  }
  rewrite("A=5\n", true);
  poll(nullptr, 0, 3'000);  // until the file is no longer young
  EXPECT_STREQ("5", nvram_get("A"));
  rewrite("A=6\n", true);  // as cp -p does it
  EXPECT_STREQ("6", nvram_get("A"));
  write_file(STORE, std::string(2 << 20, '#') + "\nA=7\n");
  EXPECT_STREQ("7", nvram_get("A"));
  rewrite("");  // somebody is about to write it
  EXPECT_STREQ("7", nvram_get("A"));
  EXPECT_EQ(-1, nvram_commit());
  EXPECT_EQ("", read_file(STORE));
  fs::remove(STORE);
  require(mkfifo(STORE, 0600) == 0, STORE);
  EXPECT_STREQ("7", nvram_get("A"));
  EXPECT_EQ(-1, nvram_commit());
  fs::remove(STORE);
  EXPECT_STREQ(nullptr, nvram_get("A"));
}

TEST_F(SettingsTest, CommitKeepsEverythingElseOrTheWholeOldFile) {
  const std::string old_text = "# first\nA=1\n\nB=7\nA=3\n#B=9\nno sign\nC=4";
  write_file(STORE, "B=2\n");
  EXPECT_EQ(0, nvram_set("A", "5 = five") + nvram_set("D", ""));
  EXPECT_STREQ("5 = five", nvram_get("A")) << "this process sees it at once";
  write_file("/tmp/store/file", old_text);
  fs::permissions("/tmp/store/file", fs::perms{0640});
  fs::remove(STORE);
  fs::create_symlink("file", STORE);
  std::signal(SIGXFSZ, SIG_IGN);
  rlimit limit{};
  getrlimit(RLIMIT_FSIZE, &limit);
  const rlimit small{.rlim_cur = 16, .rlim_max = limit.rlim_max};
  setrlimit(RLIMIT_FSIZE, &small);
  const int full = nvram_commit();
  setrlimit(RLIMIT_FSIZE, &limit);
  EXPECT_EQ(-1, full);
  EXPECT_EQ(old_text, read_file(STORE));
  EXPECT_EQ(2, std::distance(fs::directory_iterator("/tmp/store"), {})) << "nothing beside it";
  EXPECT_EQ(0, nvram_commit());
  EXPECT_EQ("# first\nA=1\n\nB=7\nA=5 = five\n#B=9\nno sign\nC=4\nD=\n", read_file(STORE));
  EXPECT_TRUE(fs::is_symlink(STORE));
  EXPECT_EQ(fs::perms{0640}, fs::status(STORE).permissions());
}

}  // namespace
}  // namespace webauth
