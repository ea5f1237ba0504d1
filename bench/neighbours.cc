#include "bench/neighbours.h"

#include <linux/netlink.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "common/text_field.h"
#include "daemon/control/control_message.h"
#include "daemon/login/login_record.h"
#include "daemon/platform/kernel_endpoint.h"

namespace webauth {
namespace {

constexpr char LOG_PATH[] = "/dev/log";

sockaddr_un unix_address(const char* path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  require(put_field(address.sun_path, path), path);
  return address;
}

int connect_to(const sockaddr_un& address, int type) {
  const int fd = socket(AF_UNIX, type, 0);
  const auto* name = reinterpret_cast<const sockaddr*>(&address);
  require(connect(fd, name, sizeof address) == 0, address.sun_path);
  return fd;
}

[[noreturn]] void read_for_ever(int fd) {
  char buffer[2048];
  for (;;) (void)recv(fd, buffer, sizeof buffer, 0);
}

}  // namespace

void require(bool done, const char* what) {
  if (done) return;
  std::fprintf(stderr, "webauth-bench: %s: %s\n", what, std::strerror(errno));
  std::exit(EXIT_FAILURE);
}

int open_log_sink() {
  unlink(LOG_PATH);
  const sockaddr_un address = unix_address(LOG_PATH);
  const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  require(bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0, LOG_PATH);
  return fd;
}

int open_kernel_side(std::uint32_t daemon_port) {
  const int fd = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_USERSOCK);
  sockaddr_nl address{};
  address.nl_family = AF_NETLINK;
  address.nl_pid = GATE_PORT;
  const auto* name = reinterpret_cast<const sockaddr*>(&address);
  require(bind(fd, name, sizeof address) == 0, "the kernel side's netlink port");
  address.nl_pid = daemon_port;
  require(daemon_port == 0 || connect(fd, name, sizeof address) == 0, "netlink connect");
  return fd;
}

// The address is made once: what a front end spends on it is no part of any measurement.
int connect_front_end() {
  static const sockaddr_un address = unix_address(LOGIN_SOCKET_PATH);
  return connect_to(address, SOCK_STREAM);
}

int connect_control() { return connect_to(unix_address(CONTROL_SOCKET_PATH), SOCK_DGRAM); }

Reader::Reader(int (*open_socket)()) {
  CPU_ZERO(&processors_before_);
  sched_getaffinity(0, sizeof processors_before_, &processors_before_);
  cpu_set_t this_one;
  CPU_ZERO(&this_one);
  CPU_SET(static_cast<unsigned>(sched_getcpu()), &this_one);
  sched_setaffinity(0, sizeof this_one, &this_one);
  int opened[2];
  require(pipe(opened) == 0, "pipe");
  child_ = fork();
  require(child_ >= 0, "fork");
  if (child_ == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const sched_param no_priority{};
    sched_setscheduler(0, SCHED_BATCH, &no_priority);
    const int fd = open_socket();
    close(opened[0]);
    close(opened[1]);
    read_for_ever(fd);
  }
  close(opened[1]);
  char nothing;
  (void)!read(opened[0], &nothing, 1);  // ends when the child has closed its end too
  close(opened[0]);
}

Reader::~Reader() {
  kill(child_, SIGKILL);
  waitpid(child_, nullptr, 0);
  sched_setaffinity(0, sizeof processors_before_, &processors_before_);
}

}  // namespace webauth
