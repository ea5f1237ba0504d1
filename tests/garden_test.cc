// The walled garden, pushed by this process with the sandbox's own hosts file.
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <fstream>
#include <thread>

#include "daemon/kernel/transport.h"
#include "daemon/wechat/walled_garden.h"
#include "tests/support/world_test.h"

namespace webauth {
namespace {

class GardenTest : public WorldTest {
 protected:
  GardenTest() {
    if (netlink_fd < 0) netlink_fd = open_netlink_socket();
  }
};

TEST_F(GardenTest, WaitsForTheWriterOfTheNameFile) {
  write_file(GARDEN_NAME_FILE, "first.org\n");
  const int fd = open(GARDEN_NAME_FILE, O_WRONLY | O_APPEND);
  struct flock lock {};
  lock.l_type = F_WRLCK;
  ASSERT_EQ(0, fcntl(fd, F_OFD_SETLK, &lock));  // keeps this process out too
  std::thread writer([fd] {
    poll(nullptr, 0, 200);
    EXPECT_EQ(11, write(fd, "second.org\n", 11));
    close(fd);
  });
  load_garden_name_file(GARDEN_NAME_FILE);
  writer.join();
  EXPECT_EQ(2u, kernel().size());
}

TEST_F(GardenTest, HostsWithoutAnAddressAreTriedOnceMore) {
  wechat_garden_push();
  EXPECT_EQ(13u, kernel().size()) << "names only";
  std::ofstream("/etc/hosts", std::ios::app) << "10.9.0.1 wx.qlogo.cn\n10.9.0.2 wx.qlogo.cn\n";
  retry_garden_hosts(GARDEN_RETRY_COUNT - 1);
  EXPECT_EQ(0u, kernel().size());
  retry_garden_hosts(GARDEN_RETRY_COUNT);
  EXPECT_EQ(2u, kernel().size());
  retry_garden_hosts(GARDEN_RETRY_COUNT);
  EXPECT_EQ(0u, kernel().size());
}

}  // namespace
}  // namespace webauth
