// The files that the daemon reads line by line, read as it does: in pieces of a fixed size, each
// ended by its first NUL.
#pragma once

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "common/file.h"

namespace webauth {

enum class FileState : int {
  READABLE = 0,
  MISSING = 1,
  UNREADABLE = 2,  ///< the daemon takes it for missing
};

struct PieceFile {
  FileState state = FileState::MISSING;
  File file;
  std::string problem;  ///< of UNREADABLE
};

inline PieceFile open_pieces(const char* path) {
  errno = 0;
  File file = open_for_reading(path);
  if (file) return {FileState::READABLE, std::move(file), ""};
  if (errno == ENOENT) return {};
  return {FileState::UNREADABLE, nullptr, errno != 0 ? std::strerror(errno) : "not a regular file"};
}

/// One piece of a line. A text that fills its array without a newline goes on in the next piece.
template <int N>
struct Piece {
  std::size_t line = 0;      ///< number of the line in the file, from 1
  bool is_first = true;      ///< of its line
  bool has_newline = false;  ///< it is the last of its line
  char text[N] = {};
};

/// Calls `take` with each piece of a file that is open.
template <int N, typename Take>
void for_each_piece(std::FILE* file, Take take) {
  Piece<N> piece;
  for (piece.line = 1; read_line(file, piece.text);) {
    piece.has_newline = std::strchr(piece.text, '\n') != nullptr;
    take(static_cast<const Piece<N>&>(piece));
    piece.is_first = piece.has_newline;
    if (piece.has_newline) ++piece.line;
  }
}

}  // namespace webauth
