#include "tests/support/world.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "common/clock.h"
#include "daemon/control/control_message.h"
#include "daemon/login/login_record.h"
#include "daemon/platform/kernel_endpoint.h"
#include "daemon/users/published_line.h"

namespace webauth {
namespace {

namespace fs = std::filesystem;

constexpr char OUTPUT[] = "/tmp/webauthd.output";
constexpr int PATIENCE = 10;  // seconds

sockaddr_un unix_address(const char* path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::string_view(path).copy(address.sun_path, sizeof address.sun_path - 1);
  return address;
}

int open_socket(int family, int type, int protocol, auto call, const auto& address) {
  const int fd = socket(family, type | SOCK_CLOEXEC, protocol);
  if (call(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    throw std::runtime_error(strerror(errno));
  }
  return fd;
}

void send_whole(int fd, std::string_view bytes) {
  EXPECT_EQ(static_cast<ssize_t>(bytes.size()), send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL));
}

bool receive_now(int fd, std::string& bytes) {
  bytes.resize(65536);
  const ssize_t size = recv(fd, bytes.data(), bytes.size(), MSG_DONTWAIT);
  bytes.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
  return size >= 0;
}

bool is_blocked_in_select(pid_t pid) {
  const std::string process = "/proc/" + std::to_string(pid);
  // A process that is being woken still shows its system call, but no longer as sleeping.
  const std::string status = read_file(process + "/stat");
  if (status.substr(status.find(") ") + 2, 1) != "S") return false;
  std::ifstream file(process + "/syscall");
  long number = -1;
  if (!(file >> number)) return false;  // "running"
#ifdef SYS_select
  if (number == SYS_select) return true;
#endif
  return number == SYS_pselect6;
}

}  // namespace

std::string record_text(std::string_view bytes, pid_t pid) {
  if (bytes.empty()) return "";
  std::ostringstream text;
  text << bytes.size() << ':' << std::hex;
  for (std::size_t at = 0; at < bytes.find_last_not_of('\0') + 1; at += 4) {
    std::uint32_t word = 0;
    bytes.copy(reinterpret_cast<char*>(&word), sizeof word, at);
    at == 12 && word == static_cast<std::uint32_t>(pid) ? text << " pid" : text << ' ' << word;
  }
  return text.str();
}

void write_file(const std::string& path, std::string_view text) {
  fs::remove(path);
  std::ofstream(path, std::ios::binary) << text;
}

std::string read_file(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) return "(none)";
  return {std::istreambuf_iterator<char>(file), {}};
}

std::string login_request(std::string_view ip, std::string_view mac, std::string_view user,
                          std::string_view password) {
  LoginRequest request{};
  user.copy(request.user, sizeof request.user);
  password.copy(request.password, sizeof request.password);
  request.type = LOGIN_REQUEST;
  ip.copy(request.ip, sizeof request.ip);
  mac.copy(request.mac, sizeof request.mac);
  return std::string(bytes_of(request));
}

std::ptrdiff_t open_descriptors(pid_t process) {
  return std::distance(fs::directory_iterator("/proc/" + std::to_string(process) + "/fd"), {});
}

FrontEnd::FrontEnd()
    : fd_(open_socket(AF_UNIX, SOCK_STREAM, 0, connect, unix_address(LOGIN_SOCKET_PATH))) {
  const timeval patience{.tv_sec = PATIENCE, .tv_usec = 0};
  setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
}

FrontEnd::~FrontEnd() { close(fd_); }

void FrontEnd::send(std::string_view bytes) const {
  bytes.empty() ? void(shutdown(fd_, SHUT_WR)) : send_whole(fd_, bytes);
}

std::string FrontEnd::reply() const {
  std::string bytes;
  char buffer[1024];
  ssize_t count = 0;
  while ((count = recv(fd_, buffer, sizeof buffer, 0)) > 0) {
    bytes.append(buffer, static_cast<std::size_t>(count));
  }
  // A daemon that closes on bytes it has not read resets the connection.
  return count == 0 || errno == ECONNRESET ? record_text(bytes) : "not closed in time";
}

World::World() {
  if (!fs::exists("/.sandbox")) {
    throw std::runtime_error("this test is to be run through scripts/sandbox");
  }
  setenv("WEBAUTHD_KERNEL_PORT", std::to_string(GATE_PORT).c_str(), 1);
  fs::remove("/dev/log");
  log_fd_ = open_socket(AF_UNIX, SOCK_DGRAM, 0, bind, unix_address("/dev/log"));
  reset();
}

World::~World() {
  end_daemon();
  close(log_fd_);
  close_kernel_side();
}

void World::reset() {
  end_daemon();
  for (const char* directory : {"/tmp", "/disk/conf", "/var/http", "/etc/webauthd"}) {
    fs::create_directories(directory);
    for (const auto& entry : fs::directory_iterator(directory)) {
      // The project itself may lie in here.
      if (!std::string_view(WEBAUTHD_BINARY).starts_with(entry.path().string() + "/")) {
        fs::remove_all(entry);
      }
    }
  }
  for (const char* file : {"/etc/qvip.cfg", "/etc/weixin_dns_file.conf"}) fs::remove(file);
  open_kernel_side();
  log_.clear();
  kernel_.clear();
}

void World::open_kernel_side() {
  close_kernel_side();
  kernel_fd_ =
      open_socket(AF_NETLINK, SOCK_RAW, NETLINK_USERSOCK, bind, netlink_address(GATE_PORT));
}

void World::close_kernel_side() {
  if (kernel_fd_ >= 0) close(kernel_fd_);
  kernel_fd_ = -1;
}

void World::launch(const std::string& settings, const Lines& arguments) {
  if (pid_ > 0) end_daemon();
  write_file("/etc/webauthd/settings", settings);
  std::vector<char*> texts = {const_cast<char*>("webauthd")};
  for (const std::string& text : arguments) texts.push_back(const_cast<char*>(text.c_str()));
  texts.push_back(nullptr);
  started_ = std::time(nullptr);
  pid_ = fork();
  if (pid_ != 0) return;
  dup2(open(OUTPUT, O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0600), STDOUT_FILENO);
  dup2(STDOUT_FILENO, STDERR_FILENO);
  execv(WEBAUTHD_BINARY, texts.data());
  _exit(127);
}

void World::start(const std::string& settings, const Lines& arguments) {
  launch(settings, arguments);
  settle();
}

int World::run_to_end(const std::string& settings) {
  launch(settings, {});
  return wait_for_end();
}

int World::wait_for_end() {
  for (const auto late = std::time(nullptr) + PATIENCE; !has_ended(); sched_yield()) {
    drain();
    if (std::time(nullptr) > late) kill(pid_, SIGKILL);
  }
  drain();
  pid_ = 0;
  return WIFEXITED(status_) ? WEXITSTATUS(status_) : -1;
}

// Without the kernel side the next message to it is the daemon's end, one at which a sanitizer
// looks for leaks.
void World::end_daemon() {
  if (pid_ > 0) {
    close_kernel_side();
    if (has_ended()) {
      ADD_FAILURE() << "the daemon has ended by itself";
    } else {
      AllowMacMessage allow{.command = CTL_ALLOW_MAC, .unused1{}, .mac = "1:2:3:4:5:6", .unused2{}};
      control(bytes_of(allow));
    }
    EXPECT_EQ(1, wait_for_end());
    open_kernel_side();
  }
  EXPECT_EQ("", output());
}

bool World::has_ended() { return waitpid(pid_, &status_, WNOHANG) != 0; }

void World::settle() {
  for (const auto late = std::time(nullptr) + PATIENCE; !is_blocked_in_select(pid_);
       sched_yield()) {
    drain();
    if (has_ended()) FAIL() << "the daemon has ended";
    if (std::time(nullptr) > late) FAIL() << "the daemon does not come to rest";
  }
  drain();
}

void World::drain() {
  std::string bytes;
  while (receive_now(log_fd_, bytes)) note_log(bytes);
  while (receive_now(kernel_fd_, bytes)) kernel_.push_back(record_text(bytes, pid_));
}

void World::note_log(std::string_view datagram) {
  const auto header = datagram.find(": ");  // "<133>Jan  1 00:00:00 user: text"
  std::string text(datagram.substr(header + 2));
  while (!text.empty() && (text.back() == '\n' || text.back() == '\0')) text.pop_back();
  const bool record =
      datagram.starts_with("<133>") && datagram.substr(0, header).ends_with(" user");
  const bool line = (std::atoi(datagram.data() + 1) & 7) == 0;
  EXPECT_TRUE(text.starts_with("R1 0 K5 ") ? record : text.starts_with("@#@ log_info ") && line)
      << datagram;
  log_.push_back(std::move(text));
}

Lines World::log() {
  pid_ > 0 ? settle() : drain();
  return std::exchange(log_, {});
}

Lines World::kernel() {
  pid_ > 0 ? settle() : drain();
  return std::exchange(kernel_, {});
}

std::string World::output() {
  std::string text = fs::exists(OUTPUT) ? read_file(OUTPUT) : "";
  if (!text.empty()) fs::resize_file(OUTPUT, 0);
  return text;
}

std::string World::login(std::string_view ip, std::string_view mac, std::string_view user,
                         std::string_view password) {
  const FrontEnd client;
  client.send(login_request(ip, mac, user, password));
  settle();
  return client.reply();
}

std::string World::published() {
  std::istringstream file(read_file(REGISTRATION_FILE));
  std::string text;
  for (std::string line; std::getline(file, line); text += line + "\n") {
    const auto end = line.rfind(' ', line.size() - 2);  // before the mode number
    const auto begin = line.rfind(' ', end - 1) + 1;
    const long time = std::atol(line.c_str() + begin);
    if (time >= started_ && time <= std::time(nullptr)) line.replace(begin, end - begin, "NOW");
  }
  return text;
}

void World::control(std::string_view datagram) {
  const int fd = open_socket(AF_UNIX, SOCK_DGRAM, 0, connect, unix_address(CONTROL_SOCKET_PATH));
  send_whole(fd, datagram);
  close(fd);
}

void World::kernel_event(std::string_view datagram) {
  const sockaddr_nl address = netlink_address(static_cast<std::uint32_t>(pid_));
  connect(kernel_fd_, reinterpret_cast<const sockaddr*>(&address), sizeof address);
  send_whole(kernel_fd_, datagram);
}

}  // namespace webauth
