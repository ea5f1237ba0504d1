// Watches one file that others replace by a rename or remove, through inotify on its directory. A
// change between construction and the first wait is not missed.
#pragma once

#include <cstdint>
#include <string>

namespace webauth {

enum class WatchResult : int {
  TIMED_OUT = 0,
  REPLACED = 1,     ///< renamed into place, or written
  REMOVED = 2,      ///< gone
  OUTPUT_GONE = 3,  ///< nobody reads the output any more
  LOST = 4,         ///< the directory cannot be watched, or no longer
};

class ListWatch {
 public:
  explicit ListWatch(const std::string& path);
  ~ListWatch();
  ListWatch(const ListWatch&) = delete;
  ListWatch& operator=(const ListWatch&) = delete;

  /// Waits until `deadline` (steady clock, microseconds), or for ever when it is negative. Changes
  /// that lie close together are told once. `output_fd`, unless negative, is watched for a reader
  /// that closes it.
  WatchResult wait(std::int64_t deadline, int output_fd = -1);

  /// Forgets the changes so far.
  void skip_changes();

 private:
  WatchResult read_changes();

  std::string name_;
  int fd_;
};

}  // namespace webauth
