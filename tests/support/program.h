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

/// The system call that a process sleeps in. Whoever has just been woken is AWAKE; nobody is DEAD.
enum class Sleep { AWAKE, SELECT, POLL, SENDMSG, SEND, OTHER, DEAD };
Sleep sleep_of(pid_t process);

class Program {
 public:
  Program() = default;
  ~Program() { kill_it(); }
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  /// Starts a shell with this text, which may "exec" the program by its name.
  void launch(const std::string& text);
  [[nodiscard]] pid_t pid() const { return pid_; }  ///< 0: none runs
  /// Waits until it sleeps in this call, which is true, or has ended; patience ends it. `meanwhile`
  /// is done all the time, and at the end once more.
  bool wait_until(
      Sleep call, const std::function<void()>& meanwhile = [] {});
  /// The exit status of what has ended; -1 when it was killed.
  [[nodiscard]] int status() const;
  void kill_it();
  /// What has come on both outputs since the last call.
  std::string output();

 private:
  pid_t pid_ = 0;
  int status_ = 0;
  std::FILE* output_ = nullptr;
};

}  // namespace webauth
