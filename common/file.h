// Text files: opened without waiting for what is no file, read line by line as bounded pieces, or
// whole.
#pragma once

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

namespace webauth {

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

/// Opens a regular file for reading; empty on failure, and for anything else at the path: a pipe is
/// not waited for, a device not read without end.
inline File open_for_reading(const char* path) {
  const int fd = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  File file(fd >= 0 ? fdopen(fd, "r") : nullptr);
  if (!file && fd >= 0) close(fd);
  struct stat status {};
  if (!file || fstat(fd, &status) != 0 || !S_ISREG(status.st_mode)) return nullptr;
  return file;
}

/// Reads the next line, its newline included, or the next N - 1 bytes of a longer one. A NUL in the
/// file ends the text of its piece. Returns false at the end of the file or when reading fails.
template <int N>
bool read_line(std::FILE* file, char (&line)[N]) {
  return std::fgets(line, N, file) != nullptr;
}

/// Appends everything up to the end. False, with `errno`, when reading fails or more than `limit`
/// bytes are there.
inline bool read_whole(int fd, std::string& text, std::size_t limit = SIZE_MAX) {
  char piece[4096];
  for (;;) {
    const ssize_t count = read(fd, piece, sizeof piece);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return count == 0;
    errno = EFBIG;
    if (static_cast<std::size_t>(count) > limit) return false;
    limit -= static_cast<std::size_t>(count);
    text.append(piece, static_cast<std::size_t>(count));
  }
}

/// False when something was not written.
inline bool write_whole(int fd, std::string_view text) {
  while (!text.empty()) {
    const ssize_t count = write(fd, text.data(), text.size());
    if (count <= 0) return false;
    text.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

}  // namespace webauth
