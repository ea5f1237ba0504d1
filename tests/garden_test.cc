// The walled garden: names as the kernel module gets them, and what the gate makes of them. The
// pushing runs in this process, with the sandbox's own hosts file.
#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <fstream>

#include "gate/garden_text.h"
#include "kernel/transport.h"
#include "support/world.h"
#include "wechat/host_name.h"
#include "wechat/walled_garden.h"

namespace webauth {
namespace {

std::string labels(std::size_t count, std::size_t length) {
  std::string name;
  for (std::size_t i = 0; i < count; ++i) name += (i > 0 ? "." : "") + std::string(length, 'a');
  return name;
}

TEST(HostName, IsEncodedAsLabels) {
  const struct {
    std::string name, encoded;  // empty: refused
  } rows[] = {
      {"a.b", "\1a\1b"},
      {"weixin.qq.com", "\6weixin\2qq\3com"},
      {"cr.org\r", "\2cr\4org\r"},
      {"a..b", "\1a"},  // the empty label ends it
      {"a.b.", "\1a\1b"},
      {".a", std::string(1, '\0')},
      {"", ""},
      {"localhost", ""},
      {"1.2.3.4", ""},
      {"1.2.3.4.example.org", ""},
      {"1.2.3.example",
       "\1"
       "1\1"
       "2\1"
       "3\7example"},
      {labels(63, 1),
       [] {
         std::string s;
         while (s.size() < 126) s += "\1a";
         return s;
       }()},
      {labels(64, 1), ""},
      {labels(2, 63), "?" + labels(1, 63) + "?" + labels(1, 63)},  // '?' is 63
      {labels(2, 64), ""},
  };
  for (const auto& row : rows) {
    char output[1028] = {};
    EXPECT_EQ(row.encoded.empty() ? -1 : 0,
              encode_dns_name(row.name.c_str(), output, sizeof output))
        << row.name;
    EXPECT_TRUE(row.encoded.empty() || std::string(output) == row.encoded.c_str()) << row.name;
    EXPECT_EQ(-1, encode_dns_name(row.name.c_str(), output, row.name.size() + 1)) << "no room";
  }
}

TEST(WechatHosts, AreNamesOfTheServiceOnly) {
  int count = 0;
  for (const WechatHost* host = wechat_hosts; host->host != nullptr; ++host, ++count) {
    const std::string_view name = host->host;
    const auto dots = std::count(name.begin(), name.end(), '.');
    EXPECT_TRUE(name.size() >= 11 && name.size() <= 24 && dots >= 2 && dots <= 3) << name;
  }
  EXPECT_EQ(13, count);
}

class GardenTest : public World {
 protected:
  GardenTest() {
    setenv("WEBAUTHD_KERNEL_PORT", "1195463749", 1);
    netlink_fd = open_netlink_socket();
  }
  ~GardenTest() override { close(netlink_fd); }

  std::size_t sent_for(const std::string& name) {
    push_garden_name(name.c_str());
    return kernel().size();
  }
};

TEST_F(GardenTest, NamesThatDoNotFitAreNotSent) {
  const std::string longest = labels(7, 63) + "." + std::string(19, 'a');  // 468 when encoded
  EXPECT_EQ(1u, sent_for(longest));
  EXPECT_EQ(0u, sent_for(longest + "a"));
  EXPECT_EQ(0u, sent_for(labels(16, 62)));
}

TEST_F(GardenTest, WaitsForTheWriterOfTheNameFile) {
  write_file(GARDEN_NAME_FILE, "first.org\n");
  int ready[2];
  ASSERT_EQ(0, pipe(ready));
  const pid_t writer = fork();
  if (writer == 0) {
    const int fd = open(GARDEN_NAME_FILE, O_WRONLY | O_APPEND);
    struct flock lock {};
    lock.l_type = F_WRLCK;
    bool done = fcntl(fd, F_SETLK, &lock) == 0 && write(ready[1], "x", 1) == 1;
    poll(nullptr, 0, 200);
    done = done && write(fd, "second.org\n", 11) == 11;
    _exit(done ? 0 : 1);
  }
  char byte = 0;
  EXPECT_EQ(1, read(ready[0], &byte, 1));
  load_garden_name_file(GARDEN_NAME_FILE);
  EXPECT_EQ(2u, kernel().size());
  int status = -1;
  EXPECT_TRUE(waitpid(writer, &status, 0) == writer && status == 0);
}

TEST_F(GardenTest, HostsWithoutAnAddressAreTriedOnceMore) {
  const std::string hosts = read_file("/etc/hosts");
  wechat_garden_push();
  EXPECT_EQ(13u, kernel().size()) << "names only";
  std::ofstream("/etc/hosts", std::ios::app) << "10.9.0.1 wx.qlogo.cn\n10.9.0.2 wx.qlogo.cn\n";
  retry_garden_hosts(13);
  EXPECT_EQ(0u, kernel().size());
  retry_garden_hosts(14);
  EXPECT_EQ(2u, kernel().size());
  retry_garden_hosts(14);
  EXPECT_EQ(0u, kernel().size());
  write_file("/etc/hosts", hosts);
}

TEST(Gate, PrintsGardenMessages) {
  const std::string whole(
      "\x44\0\0\0\0\0\0\0\0\0\0\0\x4d\0\0\0"
      "\4\0\0\0\15\0\0\0\0\0\0\0\6\0\0\0"
      "\0\0\0\0\0\0\0\0\0\0\0\0"
      "\15\0\10\0\2wx\5qq.\n\1"
      "\0\0\0"
      "\10\0\1\0\12\11\0\1",
      68);
  Datagram datagram{.bytes{whole.begin(), whole.end()}, .size = 68, .sender_port = 77};
  EXPECT_EQ("GARDEN_HOST_ADDRESS wx.qq.\\x0a\\x01 10.9.0.1", garden_text(datagram));
  for (std::size_t size = 0; size < 68; ++size) {  // no length of it is read beyond its end
    datagram.bytes.assign(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
    datagram.size = size;
    if (size > 0) datagram.bytes[0] = static_cast<unsigned char>(size);
    const auto text = garden_text(datagram);
    EXPECT_TRUE(!text || text->find("DEVIATES") != std::string::npos) << size;
  }
}

}  // namespace
}  // namespace webauth
