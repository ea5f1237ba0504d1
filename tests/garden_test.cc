// The walled garden's start while others write its files.
#include <fcntl.h>
#include <unistd.h>

#include <fstream>

#include "daemon/platform/settings_store.h"
#include "daemon/wechat/walled_garden.h"
#include "tests/support/world_test.h"

namespace webauth {
namespace {

class GardenTest : public WorldTest {};

// One message after the other: when the daemon is at the fifth host, the first is told an address.
TEST_F(GardenTest, WaitsForTheWriterOfTheNamesAndTriesHostsOnceMore) {
  watch_order();
  write_file(DEFAULT_SETTINGS_FILE, "WEBAUTH_SECTYPE=WEIXIN\n");
  write_file(GARDEN_NAME_FILE, "first.org\n");
  std::ofstream("/etc/hosts", std::ios::app) << "10.9.0.2 wx.qlogo.cn\n";
  const int fd = open(GARDEN_NAME_FILE, O_WRONLY | O_APPEND | O_CLOEXEC);
  struct flock lock {};
  lock.l_type = F_WRLCK;
  require(fcntl(fd, F_SETLK, &lock) == 0, "lock");
  launch();
  while (read_file("/proc/locks").find("->") == std::string::npos) go_on();
  require(write(fd, "second.org\n", 11) == 11, "write");
  close(fd);
  for (int seen = 0; seen < 9;) {
    daemon.wait_until(Sleep::SENDMSG, [] {});
    go_on(), ++seen;
  }
  std::ofstream("/etc/hosts", std::ios::app) << "10.9.0.1 weixin.qq.com\n";
  settle();
  const Lines sent = kernel();
  ASSERT_EQ(2U + 2U + 13U + 2U, sent.size());
  EXPECT_TRUE(sent[sent.size() - 2].ends_with(" 10008 200090a")) << "in the first pass";
  EXPECT_TRUE(sent.back().ends_with(" 10008 100090a")) << "tried again, and only this";
}

}  // namespace
}  // namespace webauth
