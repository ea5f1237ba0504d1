// Replaces a file in one step: who reads it sees the old text or the new one. Nothing here ends the
// process.
#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>

namespace webauth {

/// Writes a temporary file beside it (its path and ".tmp"), flushes it to disk and renames it. The
/// new file has mode and owner of the old one, or `new_mode` when there is no regular one; a link
/// is replaced, not followed. False, with `errno`, when that failed: the old file is then whole.
/// Two that replace the same file at the same time must agree with each other.
[[nodiscard]] bool replace_file(const std::string& path, std::string_view text, mode_t new_mode);

/// The path that a link leads to, for a file that is to stay one; else the path itself.
std::string link_target(const char* path);

}  // namespace webauth
