#include "tests/support/program.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace webauth {
namespace {

struct Call {
  long number;
  Sleep sleep;
};

constexpr Call CALLS[] = {
    {SYS_pselect6, Sleep::SELECT},
    {SYS_sendmsg, Sleep::SENDMSG},
    {SYS_sendto, Sleep::SEND},
    {SYS_write, Sleep::SEND},
    {SYS_ppoll, Sleep::POLL},
#ifdef SYS_select
    {SYS_select, Sleep::SELECT},
#endif
#ifdef SYS__newselect
    {SYS__newselect, Sleep::SELECT},
#endif
#ifdef SYS_pselect6_time64
    {SYS_pselect6_time64, Sleep::SELECT},
#endif
#ifdef SYS_poll
    {SYS_poll, Sleep::POLL},
#endif
#ifdef SYS_send
    {SYS_send, Sleep::SEND},
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
  const auto at = status.find("\n" + name);
  if (at == std::string::npos) throw std::runtime_error("no " + name + " in a process's status");
  return std::stoll(status.substr(at + 1 + name.size()));
}

std::ptrdiff_t open_descriptors(pid_t process) {
  return std::distance(std::filesystem::directory_iterator(process_file(process, "fd")), {});
}

Sleep sleep_of(pid_t process) {
  // A process that is being woken still shows its system call, but no longer as sleeping.
  const std::string stat = read_file(process_file(process, "stat"));
  const auto name_end = stat.rfind(") ");
  if (name_end == std::string::npos || stat[name_end + 2] != 'S') return Sleep::AWAKE;
  std::ifstream file(process_file(process, "syscall"));
  long number = 0;
  if (!(file >> number)) return Sleep::AWAKE;  // "running"
  const auto* call =
      std::find_if(std::begin(CALLS), std::end(CALLS), [=](Call c) { return c.number == number; });
  return call == std::end(CALLS) ? Sleep::OTHER : call->sleep;
}

void Program::launch(const std::string& text) {
  end();
  int input[2];
  int output[2];
  require(pipe2(input, O_CLOEXEC) == 0 && pipe2(output, O_CLOEXEC | O_NONBLOCK) == 0, "pipe");
  const pid_t child = fork();
  require(child >= 0, "fork");
  if (child == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    signal(SIGPIPE, SIG_DFL);  // which exec does not do
    fcntl(output[1], F_SETFL, 0);
    dup2(input[0], STDIN_FILENO);
    dup2(output[1], STDOUT_FILENO);
    dup2(output[1], STDERR_FILENO);
    execl("/bin/sh", "sh", "-c", text.c_str(), nullptr);
    _exit(127);
  }
  pid_ = child;
  close(input[0]);
  close(output[1]);
  input_ = input[1];
  output_ = output[0];
}

bool Program::wait_until(Sleep call, const std::function<void()>& meanwhile) {
  for (const auto late = std::time(nullptr) + PATIENCE; sleep_of(pid_) != call; sched_yield()) {
    meanwhile();
    if (has_ended()) return false;
    if (std::time(nullptr) > late) throw std::runtime_error("a program does not come to rest");
  }
  meanwhile();
  return true;
}

int Program::wait_for_end(const std::function<void()>& meanwhile) {
  for (const auto late = std::time(nullptr) + PATIENCE; !has_ended(); sched_yield()) {
    meanwhile();
    if (std::time(nullptr) > late) kill(pid_, SIGKILL);
  }
  meanwhile();
  return WIFEXITED(status_) ? WEXITSTATUS(status_) : -1;
}

bool Program::has_ended() {
  if (pid_ > 0 && waitpid(pid_, &status_, WNOHANG) != 0) pid_ = 0;
  return pid_ == 0;
}

void Program::end() {
  if (!has_ended()) {
    kill(pid_, SIGKILL);
    wait_for_end();
  }
  for (int* fd : {&input_, &output_}) {
    if (*fd >= 0) close(*fd);
    *fd = -1;
  }
}

std::string Program::output() {
  std::string text;
  char piece[4096];
  for (ssize_t count = 0; (count = read(output_, piece, sizeof piece)) > 0;) {
    text.append(piece, static_cast<std::size_t>(count));
  }
  return text;
}

void Program::type(std::string_view text) {
  if (text.empty()) {
    close(input_);
    input_ = -1;
  } else {
    require(write(input_, text.data(), text.size()) > 0, "input");
  }
}

}  // namespace webauth
