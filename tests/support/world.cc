#include "tests/support/world.h"

#include <linux/netlink.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "common/fd_guard.h"
#include "daemon/control/control_message.h"
#include "daemon/platform/kernel_endpoint.h"
#include "daemon/platform/settings_store.h"
#include "daemon/users/published_line.h"

namespace webauth {
namespace {

namespace fs = std::filesystem;

// How record_text of every KernelMessage of the daemon begins.
constexpr std::string_view KERNEL_MESSAGE_BEGIN = "360: 178 0 0 pid 168 ";
const std::string FILLER(360, 'f');  // as long as a KernelMessage

// What a syslog datagram is, as effects() says it.
std::string log_effect(std::string_view datagram) {
  const std::size_t end = datagram.find(": ");  // of "<133>Jan  1 00:00:00 user"
  const std::string_view header = datagram.substr(0, end);
  std::string text(datagram.substr(std::min(end + 2, datagram.size())));
  while (!text.empty() && (text.back() == '\n' || text.back() == '\0')) text.pop_back();
  constexpr std::string_view EVENT = "R1 0 K5 ", LINE = "@#@ log_info n ";
  if (text.starts_with(EVENT) && header.starts_with("<133>") && header.ends_with(" user")) {
    return "event " + text.substr(EVENT.size());
  }
  const bool emergency = (std::atoi(std::string(header.substr(1)).c_str()) & 7) == 0;
  if (text.starts_with(LINE) && emergency) return "line " + text.substr(LINE.size());
  return "log " + std::string(datagram);
}

}  // namespace

World::World() {
  enter_sandbox();
  log_filler_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  kernel_filler_ = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_USERSOCK);
  reset();
}

World::~World() {
  daemon.end();
  for (const int fd : {log_fd_, log_filler_, kernel_filler_}) close(fd);
  close_kernel_side();
}

void World::reset() {
  end_daemon();
  for (const char* directory : {"/tmp", "/disk/conf", "/var/http", "/etc/webauthd"}) {
    fs::create_directories(directory);
    for (const auto& entry : fs::directory_iterator(directory)) {
      // The project itself may lie in here.
      if (!std::string_view(__FILE__).starts_with(entry.path().string() + "/")) {
        fs::remove_all(entry);
      }
    }
  }
  for (const char* file : {"/etc/qvip.cfg", "/etc/weixin_dns_file.conf"}) fs::remove(file);
  open_kernel_side();
  effects_.clear();
}

void World::open_kernel_side() {
  close_kernel_side();
  kernel_fd_ = webauth::open_kernel_side();
}

void World::close_kernel_side() {
  if (kernel_fd_ >= 0) close(kernel_fd_);
  kernel_fd_ = -1;
}

void World::launch(const std::string& text) {
  if (daemon.pid() > 0) end_daemon();
  started_ = std::time(nullptr);
  if (in_steps_) fill_queues();
  daemon.launch(text);
  port_ = daemon.pid();
}

void World::start(const std::string& settings) {
  write_file(DEFAULT_SETTINGS_FILE, settings);
  launch();
  settle();
}

void World::settle() {
  if (!rest()) throw std::runtime_error("the daemon has ended");
}

bool World::rest() {
  const bool serves = daemon.wait_until(Sleep::SELECT, [this] { go_on(); });
  come_to_rest();
  if (serves && in_steps_) fill_queues();
  return serves;
}

int World::wait_for_end() {
  const int status = daemon.wait_for_end([this] { go_on(); });
  come_to_rest();
  return status;
}

void World::end_daemon() {
  if (daemon.pid() > 0) {
    settle();
    close_kernel_side();
    AllowMacMessage allow{.command = CTL_ALLOW_MAC, .unused1{}, .mac = "1:2:3:4:5:6", .unused2{}};
    control(bytes_of(allow));
    if (wait_for_end() != 1) throw std::runtime_error("the daemon did not end with status 1");
    open_kernel_side();
  }
  const std::string text = daemon.output();
  if (!text.empty()) throw std::runtime_error("the daemon said: " + text);
}

void World::fill_queues() const {
  sockaddr_un log{.sun_family = AF_UNIX, .sun_path = "/dev/log"};
  sockaddr_nl kernel = netlink_address(GATE_PORT);
  const auto fill = [](int fd, const auto& address) {
    const auto* name = reinterpret_cast<const sockaddr*>(&address);
    while (sendto(fd, FILLER.data(), FILLER.size(), MSG_DONTWAIT, name, sizeof address) > 0) {
    }
  };
  fill(log_filler_, log);
  if (kernel_fd_ >= 0) fill(kernel_filler_, kernel);
}

// While the daemon is busy: empties the queues, or makes room where it waits for some.
void World::go_on() {
  if (!in_steps_) {
    while (receive(true) || receive(false)) {
    }
    return;
  }
  const Sleep call = sleep_of(daemon.pid());
  if (call != Sleep::SEND && call != Sleep::SENDMSG) return;
  look();
  const bool log = call == Sleep::SEND;
  effects_.emplace_back(log ? "log" : "kernel");  // receive() puts its text there
  receive(log);
}

void World::come_to_rest() {
  while (receive(true) || receive(false)) {
  }
  look();
  const auto is_open = [](const std::string& text) { return text == "log" || text == "kernel"; };
  if (std::any_of(effects_.begin(), effects_.end(), is_open)) {
    throw std::runtime_error("a log record or kernel message has been lost");
  }
}

// Takes one datagram; it belongs to the first place that is kept for one of its kind.
bool World::receive(bool log) {
  std::string bytes;
  if (!receive_now(log ? log_fd_ : kernel_fd_, bytes)) return false;
  if (bytes == FILLER) return true;
  std::string text = record_text(bytes, port_);
  if (text.starts_with(KERNEL_MESSAGE_BEGIN)) text.erase(0, KERNEL_MESSAGE_BEGIN.size());
  const auto place = std::find(effects_.begin(), effects_.end(), log ? "log" : "kernel");
  *(place != effects_.end() ? place : effects_.emplace(place)) =
      log ? log_effect(bytes) : "kernel " + text;
  return true;
}

void World::note(const std::string& effect) { effects_.push_back(effect); }

Lines World::effects() {
  daemon.pid() > 0 ? settle() : come_to_rest();
  return std::exchange(effects_, {});
}

Lines World::take(const std::string& kind) {
  Lines taken, others;
  for (const std::string& effect : effects()) {
    const bool wanted = effect.starts_with(kind);
    (wanted ? taken : others).push_back(effect.substr(wanted ? kind.size() : 0));
  }
  effects_ = others;
  return taken;
}

std::string World::login(std::string_view ip, std::string_view mac, std::string_view user,
                         std::string_view password) {
  const FdGuard client(connect_front_end());
  send_whole(client.get(), login_request(ip, mac, user, password));
  settle();
  return reply_to(client.get());
}

std::string World::published() const {
  std::istringstream file(read_file(REGISTRATION_FILE));
  std::string text;
  for (std::string line; std::getline(file, line); text += line + "\n") {
    const auto end = line.rfind(' ', line.size() - 2);  // before the mode number
    const auto begin = line.rfind(' ', end - 1) + 1;
    const std::int64_t time = std::atoll(line.c_str() + begin);
    if (time >= started_ && time <= std::time(nullptr)) line.replace(begin, end - begin, "NOW");
  }
  return text;
}

void World::control(std::string_view datagram) const {
  const FdGuard client(connect_control());
  send_whole(client.get(), datagram);
}

void World::kernel_event(std::string_view datagram) const {
  const sockaddr_nl address = netlink_address(static_cast<std::uint32_t>(port_));
  const auto* name = reinterpret_cast<const sockaddr*>(&address);
  const ssize_t sent =
      sendto(kernel_fd_, datagram.data(), datagram.size(), 0, name, sizeof address);
  require(sent > 0, "kernel event");
}

}  // namespace webauth
