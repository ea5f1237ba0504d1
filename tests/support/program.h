// A program under test as a child of this process, and what /proc tells of a process. What goes
// wrong is thrown as std::runtime_error; no test framework is needed.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

namespace webauth {

using Lines = std::vector<std::string>;

/// Seconds that anything which must happen is waited for.
inline constexpr int PATIENCE = 30;

/// Throws `what`, with the text of errno, unless a system call has succeeded.
void require(bool succeeded, const std::string& what);

/// The file's bytes, or "(none)".
std::string read_file(const std::string& path);

/// The number behind a name in a process's status, such as "VmRSS:" (in kB).
std::int64_t status_number(pid_t process, const std::string& name);
std::ptrdiff_t open_descriptors(pid_t process);

/// The system call that a process sleeps in. Whoever has just been woken is AWAKE.
enum class Sleep { AWAKE, SELECT, POLL, SENDMSG, SEND, OTHER };
Sleep sleep_of(pid_t process);

class Program {
 public:
  /// Starts a shell with this text, which may "exec" the program by its name.
  void launch(const std::string& text);
  [[nodiscard]] pid_t pid() const { return pid_; }  ///< 0: none runs
  /// Waits until it sleeps in this call; `meanwhile` is done all the time. False: it has ended.
  bool wait_until(Sleep call, const std::function<void()>& meanwhile);
  /// Its exit status; -1 when a signal, or the end of patience, has ended it.
  int wait_for_end(const std::function<void()>& meanwhile);
  /// Kills it.
  void end();
  /// What has come on both outputs since the last call.
  std::string output();

 private:
  bool has_ended();
  pid_t pid_ = 0;
  int status_ = 0;
  std::FILE* output_ = nullptr;
};

}  // namespace webauth
