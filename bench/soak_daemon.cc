#include "bench/soak_daemon.h"

#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>

#include "bench/neighbours.h"
#include "daemon/control/control_message.h"
#include "daemon/platform/kernel_endpoint.h"
#include "daemon/users/published_line.h"

namespace webauth {
namespace {

constexpr int PATIENCE = 20;  // seconds

std::string proc_path(const Daemon& daemon, const char* name) {
  return "/proc/" + std::to_string(daemon.pid) + "/" + name;
}

// A process that is being woken still shows its system call, but no longer as sleeping.
bool is_asleep(const Daemon& daemon) {
  char text[64] = {};
  if (pread(daemon.stat_fd, text, sizeof text - 1, 0) <= 0) return false;
  const char* name_end = std::strrchr(text, ')');
  return name_end != nullptr && name_end[1] == ' ' && name_end[2] == 'S';
}

bool is_blocked_in_select(const Daemon& daemon) {
  char text[16] = {};
  if (!is_asleep(daemon)) return false;
  if (pread(daemon.syscall_fd, text, sizeof text - 1, 0) <= 0 || text[0] == 'r') return false;
  const long number = std::atol(text);  // "running" was the other answer
#ifdef SYS_select
  if (number == SYS_select) return true;
#endif
  return number == SYS_pselect6;
}

bool has_ended(const Daemon& daemon) {
  siginfo_t info{};
  waitid(P_PID, static_cast<id_t>(daemon.pid), &info, WEXITED | WNOHANG | WNOWAIT);
  return info.si_pid != 0;
}

// "<priority>date ident: text". A record is of local0.notice and ident "user"; a line has level 0.
std::string log_text(const std::string& datagram) {
  const std::size_t header = datagram.find(": ");
  if (header == std::string::npos) return datagram;
  std::string text = datagram.substr(header + 2);
  const bool is_record = datagram.starts_with("<133>") && datagram.find(" user: ") == header - 5;
  const bool is_line = (std::atoi(datagram.c_str() + 1) & 7) == 0;
  return (text.starts_with("R1 ") ? is_record : is_line) ? text : datagram;
}

bool receive_now(int fd, std::string& bytes) {
  char buffer[4096];
  const ssize_t size = recv(fd, buffer, sizeof buffer, MSG_DONTWAIT);
  if (size < 0) return false;
  bytes.assign(buffer, static_cast<std::size_t>(size));
  return true;
}

void drain(const Daemon& daemon, Observed& observed) {
  std::string bytes;
  while (receive_now(daemon.log_fd, bytes)) observed.log.push_back(log_text(bytes));
  while (receive_now(daemon.kernel_fd, bytes)) observed.messages.push_back(bytes);
}

// Bytes in one piece; none: the end of what this side sends.
void send_request(int fd, const std::string& bytes) {
  if (bytes.empty()) {
    shutdown(fd, SHUT_WR);
  } else {
    require(send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL) > 0, "send");
  }
}

// The daemon's queue of datagrams is longer than a batch.
void send_datagram(const Daemon& daemon, const Event& event) {
  const int fd = event.channel == Channel::KERNEL ? daemon.kernel_fd : daemon.control_fd;
  const ssize_t sent = send(fd, event.bytes.data(), event.bytes.size(), MSG_NOSIGNAL);
  require(sent == static_cast<ssize_t>(event.bytes.size()), "datagram");
}

std::string read_reply(int fd, Observed& observed) {
  std::string reply;
  char buffer[1024];
  ssize_t size = 0;
  while ((size = recv(fd, buffer, sizeof buffer, 0)) > 0) {
    reply.append(buffer, static_cast<std::size_t>(size));
  }
  // A daemon that closes on bytes that it has not read resets the connection.
  if (size < 0 && errno != ECONNRESET) observed.fault = "a login connection is not closed";
  return reply;
}

int connect_with_patience() {
  const int fd = connect_front_end();
  const timeval patience{.tv_sec = PATIENCE, .tv_usec = 0};
  setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
  return fd;
}

// Together the logins of a batch write fewer lines than the log's queue holds before the one that
// is waited for, so that waiting for one connection after the other is enough.
void perform_logins(Daemon& daemon, const std::vector<Event>& batch, Observed& observed) {
  std::vector<int> connections;
  for (const Event& event : batch) {
    connections.push_back(connect_with_patience());
    if (event.manner == Manner::SLOW) settle(daemon, observed);
    send_request(connections.back(), event.bytes);
  }
  for (std::size_t i = 0; i < batch.size(); ++i) {
    const bool stays = batch[i].manner != Manner::GONE;
    observed.replies.push_back(stays ? read_reply(connections[i], observed) : "");
    close(connections[i]);
    drain(daemon, observed);
    if (!stays) settle(daemon, observed);
  }
}

void forget(Daemon& daemon) {
  close(daemon.syscall_fd);
  close(daemon.stat_fd);
  if (daemon.control_fd >= 0) close(daemon.control_fd);
  daemon.control_fd = -1;
  daemon.pid = 0;
}

}  // namespace

void open_neighbours(Daemon& daemon) {
  daemon.log_fd = open_log_sink();
  daemon.kernel_fd = open_kernel_side(0);
}

void launch(Daemon& daemon) {
  // The kernel side is connected to the daemon before and would refuse what this one sends.
  const sockaddr nobody{.sa_family = AF_UNSPEC, .sa_data = {}};
  require(connect(daemon.kernel_fd, &nobody, sizeof nobody) == 0, "netlink disconnect");
  daemon.pid = fork();
  require(daemon.pid >= 0, "fork");
  if (daemon.pid == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    execl(WEBAUTHD_PROGRAM, "webauthd", nullptr);
    _exit(127);
  }
  daemon.syscall_fd = open(proc_path(daemon, "syscall").c_str(), O_RDONLY | O_CLOEXEC);
  daemon.stat_fd = open(proc_path(daemon, "stat").c_str(), O_RDONLY | O_CLOEXEC);
  require(daemon.syscall_fd >= 0 && daemon.stat_fd >= 0, "the daemon's /proc/PID");
}

void settle(Daemon& daemon, Observed& observed) {
  const std::time_t late = std::time(nullptr) + PATIENCE;
  for (unsigned turn = 1; !is_blocked_in_select(daemon); ++turn) {
    drain(daemon, observed);
    sched_yield();
    if (turn % 64 != 0) continue;
    if (has_ended(daemon)) observed.fault = "the daemon has ended";
    if (std::time(nullptr) > late) observed.fault = "the daemon does not come to rest";
    if (!observed.fault.empty()) return;
  }
  drain(daemon, observed);
}

void await_start(Daemon& daemon, Observed& observed) {
  settle(daemon, observed);
  if (!observed.fault.empty()) return;
  daemon.control_fd = connect_control();
  sockaddr_nl address{};
  address.nl_family = AF_NETLINK;
  address.nl_pid = static_cast<std::uint32_t>(daemon.pid);
  const auto* name = reinterpret_cast<const sockaddr*>(&address);
  require(connect(daemon.kernel_fd, name, sizeof address) == 0, "netlink connect");
}

void perform(Daemon& daemon, const std::vector<Event>& batch, Observed& observed) {
  if (batch.front().channel == Channel::LOGIN) return perform_logins(daemon, batch, observed);
  for (const Event& event : batch) send_datagram(daemon, event);
  settle(daemon, observed);
}

std::vector<int> send_batch(Daemon& daemon, const std::vector<Event>& batch) {
  std::vector<int> connections;
  for (const Event& event : batch) {
    if (event.channel == Channel::LOGIN) {
      connections.push_back(connect_with_patience());
      send_request(connections.back(), event.bytes);
    } else {
      send_datagram(daemon, event);
    }
  }
  return connections;
}

void kill_daemon(Daemon& daemon, Observed& observed) {
  kill(daemon.pid, SIGKILL);
  waitpid(daemon.pid, nullptr, 0);
  drain(daemon, observed);
  forget(daemon);
}

int end_daemon(Daemon& daemon) {
  close(daemon.kernel_fd);
  daemon.kernel_fd = -1;
  AllowMacMessage allow{.command = CTL_ALLOW_MAC, .unused1{}, .mac = "1:2:3:4:5:6", .unused2{}};
  (void)send(daemon.control_fd, &allow, sizeof allow, MSG_NOSIGNAL);
  const std::time_t late = std::time(nullptr) + PATIENCE;
  int status = 0;
  while (waitpid(daemon.pid, &status, WNOHANG) == 0) {
    if (std::time(nullptr) > late) kill(daemon.pid, SIGKILL);
    sched_yield();
  }
  forget(daemon);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::optional<std::string> read_list() {
  const int fd = open(REGISTRATION_FILE, O_RDONLY | O_CLOEXEC);
  if (fd < 0) return std::nullopt;
  std::string text;
  char buffer[16384];
  ssize_t size = 0;
  while ((size = read(fd, buffer, sizeof buffer)) > 0) {
    text.append(buffer, static_cast<std::size_t>(size));
  }
  close(fd);
  return text;
}

long resident_kilobytes(const Daemon& daemon) {
  std::ifstream file(proc_path(daemon, "smaps_rollup"));
  for (std::string word; file >> word;) {
    long kilobytes = 0;
    if (word == "Rss:" && file >> kilobytes) return kilobytes;
  }
  return -1;
}

long count_descriptors(const Daemon& daemon) {
  const std::filesystem::directory_iterator entries(proc_path(daemon, "fd"));
  return std::distance(begin(entries), end(entries));
}

}  // namespace webauth
