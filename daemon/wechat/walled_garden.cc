#include "daemon/wechat/walled_garden.h"

#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <string_view>

#include "common/file.h"
#include "daemon/kernel/transport.h"
#include "daemon/platform/netlink_message.h"
#include "daemon/wechat/garden_message.h"
#include "daemon/wechat/host_name.h"

namespace webauth {

namespace {

constexpr std::array<WechatHost, GARDEN_RETRY_COUNT> HOSTS = {{
    {"weixin.qq.com", 0},
    {"mp.weixin.qq.com", 0},
    {"open.weixin.qq.com", 0},
    {"short.weixin.qq.com", 0},
    {"long.weixin.qq.com", 0},
    {"szshort.weixin.qq.com", 0},
    {"szlong.weixin.qq.com", 0},
    {"extshort.weixin.qq.com", 0},
    {"minorshort.weixin.qq.com", 0},
    {"dns.weixin.qq.com", 0},
    {"wifi.weixin.qq.com", 0},
    {"res.wx.qq.com", 0},
    {"wx.qlogo.cn", 0},
    {nullptr, 0},
}};
constexpr int HOST_COUNT = static_cast<int>(HOSTS.size()) - 1;

// Names of three or four labels, short enough for every buffer here.
static_assert(std::all_of(HOSTS.begin(), HOSTS.end() - 1, [](const WechatHost& entry) {
  const std::string_view host = entry.host;
  const auto dots = std::count(host.begin(), host.end(), '.');
  return (dots == 2 || dots == 3) && host.size() >= 11 && host.size() <= 24;
}));

constexpr std::size_t ADDRESS_NAME_SIZE = 516;
constexpr std::size_t NAME_MESSAGE_SIZE = 516;
constexpr std::size_t ADDRESS_MESSAGE_SIZE = 1024;
constexpr std::size_t HEADERS_SIZE = NLMSG_HDRLEN + sizeof(GardenHeader);
static_assert(HEADERS_SIZE + NLA_HDRLEN + LONGEST_GARDEN_NAME == NAME_MESSAGE_SIZE);
static_assert(HEADERS_SIZE + 2UL * NLA_HDRLEN + NLMSG_ALIGN(ADDRESS_NAME_SIZE) + 4 <=
              ADDRESS_MESSAGE_SIZE);

nlmsghdr* begin_message(void* buffer, GardenEntryClass entry_class, GardenMessageCode code) {
  nlmsghdr* header = nlmsg_put_header(buffer, sizeof(GardenHeader));
  void* room = nlmsg_put_extra_header(header, sizeof(GardenHeader));
  GardenHeader garden{};
  garden.entry_class = entry_class;
  garden.message_code = code;
  garden.marker = GARDEN_MARKER;
  std::memcpy(room, &garden, sizeof garden);
  header->nlmsg_pid = static_cast<std::uint32_t>(getpid());
  return header;
}

// Without an address: a netlink socket's own peer is the kernel, or what it is connected to.
void send_garden_message(const nlmsghdr* header) {
  (void)send_message(TRANSPORT_LOCAL, netlink_fd, header, header->nlmsg_len);
}

bool set_lock(int fd, int operation, short type) {
  struct flock lock {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  return fcntl(fd, operation, &lock) == 0;
}

}  // namespace

std::array<WechatHost, GARDEN_RETRY_COUNT> wechat_hosts = HOSTS;

void wechat_garden_push() {
  load_garden_name_file(GARDEN_NAME_FILE);
  int reached = 0;
  for (WechatHost* host = wechat_hosts.data(); host->host != nullptr; ++host) {
    push_garden_name(host->host);
    if (push_garden_host(*host) > 0) ++reached;
  }
  if (reached < HOST_COUNT) retry_garden_hosts(GARDEN_RETRY_COUNT);
}

int load_garden_name_file(const char* path) {
  const File file = open_for_reading(path);
  if (!file) return 0;
  (void)set_lock(fileno(file.get()), F_SETLKW, F_RDLCK);  // waits for a writer
  char line[GARDEN_LINE_SIZE];
  while (read_line(file.get(), line)) {
    const std::size_t length = std::strlen(line);
    if (length == 0 || line[length - 1] != '\n') break;
    line[length - 1] = '\0';
    push_garden_name(line);
  }
  (void)set_lock(fileno(file.get()), F_SETLK, F_UNLCK);
  return 0;
}

void push_garden_name(const char* host) {
  char name[GARDEN_NAME_BUFFER_SIZE];
  const auto length = encode_garden_name(host, name);
  if (!length) return;
  alignas(nlmsghdr) unsigned char buffer[NAME_MESSAGE_SIZE];
  nlmsghdr* message = begin_message(buffer, GARDEN_CLASS_NAME, GARDEN_HOST_NAME);
  nla_attr_put(message, GARDEN_ATTR_NAME, *length, name);
  send_garden_message(message);
}

int push_garden_addresses(const char* host) {
  addrinfo hints{};
  hints.ai_family = AF_INET;
  hints.ai_socktype = SOCK_STREAM;  // each address once
  addrinfo* found = nullptr;
  if (getaddrinfo(host, nullptr, &hints, &found) != 0) return 0;
  const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> list(found, &freeaddrinfo);
  char name[ADDRESS_NAME_SIZE];
  if (encode_dns_name(host, name, sizeof name) != 0) return 0;
  int sent = 0;
  for (const addrinfo* entry = found; entry != nullptr; entry = entry->ai_next) {
    sockaddr_in address{};
    std::memcpy(&address, entry->ai_addr, sizeof address);
    alignas(nlmsghdr) unsigned char buffer[ADDRESS_MESSAGE_SIZE];
    nlmsghdr* message = begin_message(buffer, GARDEN_CLASS_ADDRESS, GARDEN_HOST_ADDRESS);
    nla_attr_put(message, GARDEN_ATTR_NAME, std::strlen(name), name);
    nla_attr_put(message, GARDEN_ATTR_IPV4, sizeof address.sin_addr, &address.sin_addr);
    send_garden_message(message);
    ++sent;
  }
  return sent;
}

int push_garden_host(WechatHost& host) {
  const int sent = push_garden_addresses(host.host);
  if (sent > 0) host.pushed = 1;
  return sent;
}

void retry_garden_hosts(int count) {
  if (count != GARDEN_RETRY_COUNT) return;
  for (WechatHost* host = wechat_hosts.data(); host->host != nullptr; ++host) {
    if (host->pushed == 0) push_garden_host(*host);
  }
}

}  // namespace webauth
