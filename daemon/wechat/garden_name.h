// The file of further host names of the walled garden: where it lies, and what its lines may hold.
// Stands alone; nothing here fails or ends the process.
//
// One name a line, at most 1023 characters with its line feed. The first line that is longer or has
// no line feed ends the reading. Nothing else is cut off: a CR belongs to the name.
#pragma once

#include <cstddef>
#include <optional>

namespace webauth {

inline constexpr char GARDEN_NAME_FILE[] = "/etc/weixin_dns_file.conf";

/// A line of the file, with its closing NUL.
inline constexpr int GARDEN_LINE_SIZE = 1024;

/// Room for the encoding of any line.
inline constexpr std::size_t GARDEN_NAME_BUFFER_SIZE = 1028;

/// The longest encoded name whose message fits its buffer.
inline constexpr std::size_t LONGEST_GARDEN_NAME = 468;

/// Encodes a host name as its message carries it. Returns the length, which is 0 when an empty
/// label comes first; nothing when the name cannot be encoded or is too long: it is not sent then.
std::optional<std::size_t> encode_garden_name(const char* host,
                                              char (&name)[GARDEN_NAME_BUFFER_SIZE]);

}  // namespace webauth
