// The world around the daemon as a test sees it: this process is the system log and the kernel side
// of netlink, connects as front ends do, and starts the real webauthd. Programs that use it run
// through scripts/sandbox, whose /tmp, /etc, /disk/conf, /var/http and /dev/log are private.
//
// Nothing sleeps: a daemon that is blocked in select has handled all that was sent to it before.
// Waiting is bounded; whatever takes longer, or ends the daemon unasked, is a failed test.
#pragma once

#include <gtest/gtest.h>
#include <sys/types.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace webauth {

using Lines = std::vector<std::string>;

/// A record as "<size>: <word> <word> ...", its 32-bit words in hexadecimal without the zeros at
/// the end; the fourth reads "pid" when it is `pid`. Nothing is the empty text.
std::string record_text(std::string_view bytes, pid_t pid = 0);

template <typename Record>
std::string_view bytes_of(const Record& record) {
  return {reinterpret_cast<const char*>(&record), sizeof record};
}

/// Makes the file anew (another inode), so that no reader takes it for the one before.
void write_file(const std::string& path, std::string_view text);
/// The file's bytes, or "(none)".
std::string read_file(const std::string& path);

std::ptrdiff_t open_descriptors(pid_t process);

/// A whole LoginRequest of type 2. A text that fills its field has no NUL.
std::string login_request(std::string_view ip, std::string_view mac, std::string_view user = "",
                          std::string_view password = "");

/// One connection to the login socket.
class FrontEnd {
 public:
  FrontEnd();
  ~FrontEnd();
  FrontEnd(const FrontEnd&) = delete;
  FrontEnd& operator=(const FrontEnd&) = delete;
  /// Sends bytes in one piece; none: the end of what this side sends.
  void send(std::string_view bytes) const;
  /// record_text of everything that comes until the daemon closes.
  [[nodiscard]] std::string reply() const;

 private:
  int fd_;
};

/// Fixture with at most one daemon at a time.
class World : public testing::Test {
 protected:
  World();
  ~World() override;
  /// Ends the daemon and clears files, log and kernel messages: for the next row of a table.
  void reset();
  /// Starts the daemon with this text of the settings file, and waits until it serves.
  void start(const std::string& settings = "", const Lines& arguments = {});
  /// Starts a daemon that ends by itself and returns its exit status.
  int run_to_end(const std::string& settings);
  int wait_for_end();
  /// Waits until a daemon that has nothing to serve has handled everything.
  void settle();

  /// What came since the last call, oldest first: texts of log lines (priority and ident are
  /// checked as they come), and record_text of kernel messages.
  Lines log();
  Lines kernel();
  /// Both outputs of the daemon; it is a failure not to ask for them when there are any.
  std::string output();

  /// One front end that sends a whole request and waits for the end: its reply.
  std::string login(std::string_view ip, std::string_view mac, std::string_view user = "",
                    std::string_view password = "");
  /// The published list, with "NOW" for each login time since the daemon's start.
  std::string published();

  void control(std::string_view datagram);
  /// Sends bytes from the kernel side.
  void kernel_event(std::string_view datagram);
  /// Until the next reset.
  void close_kernel_side();

  pid_t pid_ = 0;  // 0: no daemon

 private:
  void open_kernel_side();
  void launch(const std::string& settings, const Lines& arguments);
  void end_daemon();
  bool has_ended();
  void drain();
  void note_log(std::string_view datagram);

  int log_fd_ = -1;
  int kernel_fd_ = -1;
  int status_ = 0;
  std::int64_t started_ = 0;
  Lines log_;
  Lines kernel_;
};

}  // namespace webauth
