// The list of who is online, as the daemon publishes it, read again whenever it has changed. An
// absent list is empty; lines without its form are passed over. Nothing here ends the process.
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <optional>
#include <string>

#include "daemon/users/published_line.h"

namespace webauth {

inline constexpr std::size_t PUBLISHED_LIMIT = 32 << 20;  ///< bytes; 400,000 users or so

struct PublishedList {
  std::string path = REGISTRATION_FILE;
  std::string text;
  struct stat seen {};
  bool is_fresh = false;    ///< looked at so lately that there is no need to look again
  bool is_readable = true;  ///< false: it is there and cannot be read, and counts as empty
};

/// The first line of an address. Views into the list, until the next call. The file is looked at
/// unless the list is fresh, and then the list is: its owner says when it is not any more.
std::optional<PublishedLine> find_published(PublishedList& list, std::uint32_t ip);

/// In `text`: pure.
std::optional<PublishedLine> find_published_line(std::string_view text, const std::string& ip);

}  // namespace webauth
