// What stands around the daemon: sockets for syslog, for the kernel side and for front ends, and
// the records they exchange. Everything uses the daemon's fixed paths, so it belongs into a
// sandbox. What goes wrong is thrown as std::runtime_error.
#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>

#include "tests/support/program.h"

namespace webauth {

/// Makes this process ready to stand around a daemon; programs are found by their names. Throws
/// outside scripts/sandbox.
void enter_sandbox();

/// A datagram socket bound to syslog's path. Its queue holds ten records.
int open_log_sink();
/// The netlink socket of the kernel side, bound to GATE_PORT; unless `daemon_port` is 0 it sends
/// there and hears nobody else.
int open_kernel_side(std::uint32_t daemon_port = 0);
/// A new connection to the login socket, a new socket connected to the control socket.
int connect_front_end();
int connect_control();
/// A socket of this type at one of the daemon's paths, in its place; it does not block.
int open_in_place(const char* path, int type);

/// Sends one record, or throws.
void send_whole(int fd, std::string_view bytes);
/// Takes one datagram that waits; false when there is none.
bool receive_now(int fd, std::string& bytes);
/// record_text of all that a front end gets until its connection is closed, or has got by now.
std::string reply_to(int fd, bool whole = true);

template <typename Record>
std::string_view bytes_of(const Record& record) {
  return {reinterpret_cast<const char*>(&record), sizeof record};
}

/// A whole LoginRequest of type 2. A text that fills its field has no NUL.
std::string login_request(std::string_view ip, std::string_view mac, std::string_view user = "",
                          std::string_view password = "");

/// A record as "<size>: <word> <word> ...", its 32-bit words in hexadecimal without the zeros at
/// the end; the fourth reads "pid" when it is `pid`. Nothing is the empty text.
std::string record_text(std::string_view bytes, pid_t pid = 0);

/// The words of a line of a table or transcript: what stands in double quotes is one. In a word,
/// \n, \xNN and \N*c (N times the character) are what they mean.
Lines words_of(const std::string& line);

/// Without the line feeds.
Lines lines_of(const std::string& text);

/// Makes the file anew (another inode).
void write_file(const std::string& path, std::string_view text);

}  // namespace webauth
