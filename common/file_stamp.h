// Tells whether a file may have changed since it was read: identity, size, modification and change
// time. Nothing here fails.
#pragma once

#include <sys/stat.h>

#include <algorithm>
#include <ctime>

namespace webauth {

inline bool is_same_time(const timespec& a, const timespec& b) {
  return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

inline bool is_same_file(const struct stat& a, const struct stat& b) {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino && a.st_size == b.st_size &&
         is_same_time(a.st_mtim, b.st_mtim) && is_same_time(a.st_ctim, b.st_ctim);
}

/// What to compare the file with later, as it was before it was read. Zeros, which are like no
/// file, for one that changed so shortly before that it may change again within the same stamp.
inline struct stat stamp_of(const struct stat& file) {
  constexpr std::time_t TRUSTED_AGE = 2;  // seconds
  const std::time_t changed = std::max(file.st_mtim.tv_sec, file.st_ctim.tv_sec);
  return changed + TRUSTED_AGE < std::time(nullptr) ? file : (struct stat){};
}

}  // namespace webauth
