#include "tests/support/program.h"

#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <stdexcept>

namespace webauth {
namespace {

const std::map<long, Sleep> CALLS = {
    {SYS_pselect6, Sleep::SELECT},
    {SYS_ppoll, Sleep::POLL},
    {SYS_epoll_pwait, Sleep::POLL},
    {SYS_sendmsg, Sleep::SENDMSG},
    {SYS_sendto, Sleep::SEND},
    {SYS_write, Sleep::SEND},
#ifdef __arm__
    {SYS__newselect, Sleep::SELECT},
    {SYS_pselect6_time64, Sleep::SELECT},
    {SYS_poll, Sleep::POLL},
    {SYS_epoll_wait, Sleep::POLL},
    {SYS_send, Sleep::SEND},
    // Under emulation /proc tells those of the 64-bit PC that emulates.
    {270, Sleep::SELECT},
    {271, Sleep::POLL},
    {281, Sleep::POLL},
    {46, Sleep::SENDMSG},
    {44, Sleep::SEND},
    {1, Sleep::SEND},
#elif defined(__x86_64__)
    {SYS_select, Sleep::SELECT},   {SYS_poll, Sleep::POLL},   {SYS_epoll_wait, Sleep::POLL},
#endif
};

std::string process_file(pid_t process, const char* name) {
  return "/proc/" + std::to_string(process) + "/" + name;
}

}  // namespace

void require(bool succeeded, const std::string& what) {
  if (!succeeded) throw std::runtime_error(what + ": " + std::strerror(errno));
}

std::string read_file(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) return "(none)";
  return {std::istreambuf_iterator<char>(file), {}};
}

std::int64_t status_number(pid_t process, const std::string& name) {
  const std::string status = read_file(process_file(process, "status"));
  return std::stoll(status.substr(status.find("\n" + name) + 1 + name.size()));
}

std::ptrdiff_t open_descriptors(pid_t process) {
  return std::distance(std::filesystem::directory_iterator(process_file(process, "fd")), {});
}

Sleep sleep_of(pid_t process) {
  // A process that is being woken still shows its system call, but no longer as sleeping.
  const std::string stat = read_file(process_file(process, "stat"));
  if (stat.find(") S ") == std::string::npos) return Sleep::AWAKE;
  std::ifstream file(process_file(process, "syscall"));
  long number = 0;
  if (!(file >> number)) return Sleep::AWAKE;  // "running"
  const auto call = CALLS.find(number);
  return call == CALLS.end() ? Sleep::OTHER : call->second;
}

void Program::launch(const std::string& text) {
  kill_it();
  signal(SIGPIPE, SIG_DFL);  // which exec does not do
  output_ = popen(("exec 2>&1; echo $$; " + text).c_str(), "re");
  signal(SIGPIPE, SIG_IGN);
  if (output_ != nullptr) setbuf(output_, nullptr);
  require(output_ != nullptr && std::fscanf(output_, "%d%*1[\n]", &pid_) == 1, "popen");
  fcntl(fileno(output_), F_SETFL, O_NONBLOCK);
}

bool Program::wait_until(Sleep call, const std::function<void()>& meanwhile) {
  for (const auto late = std::time(nullptr) + PATIENCE; sleep_of(pid_) != call; sched_yield()) {
    meanwhile();
    if (pid_ > 0 && waitpid(pid_, &status_, WNOHANG) != 0) pid_ = 0;
    if (pid_ == 0) return meanwhile(), false;
    if (std::time(nullptr) > late) kill(pid_, SIGKILL);
  }
  return true;
}

int Program::status() const { return WIFEXITED(status_) ? WEXITSTATUS(status_) : -1; }

void Program::send(int signal) const {
  errno = ESRCH;  // 0 would be this process's group
  require(pid_ > 0 && kill(pid_, signal) == 0, "kill");
}

void Program::kill_it() {
  if (pid_ > 0) kill(pid_, SIGKILL);
  (void)wait_until(Sleep::DEAD);
  if (output_ != nullptr) pclose(output_);
  output_ = nullptr;
}

std::string Program::output() {
  std::string text;
  char piece[4096];
  const int fd = output_ != nullptr ? fileno(output_) : -1;
  for (ssize_t count = 0; (count = read(fd, piece, sizeof piece)) > 0;) {
    text.append(piece, static_cast<std::size_t>(count));
  }
  return text;
}

}  // namespace webauth
