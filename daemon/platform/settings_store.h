// The router's settings: KEY=VALUE lines in a text file.
//
// The file is the one that the environment variable WEBAUTHD_SETTINGS names, or
// DEFAULT_SETTINGS_FILE. The value is everything after the first '=' up to the line end, taken raw.
// Lines that begin with '#' or hold no '=' are comments; of several lines with one key the last
// wins; a missing file is an empty store. A file that cannot be read, or is larger than a megabyte,
// leaves what was read before. Nothing here ends the process.
#pragma once

namespace webauth {

inline constexpr char DEFAULT_SETTINGS_FILE[] = "/etc/webauthd/settings";

/// The value of a key, or a null pointer when the key does not exist. The file is read again only
/// after it has changed. The text belongs to the store and outlives the next call of any function
/// here, so that a caller may hold two at a time.
const char* nvram_get(const char* key);

/// Changes this process's view of a key; nvram_commit writes it. Returns 0, or -1 when the key or
/// the value cannot stand on one line of the file.
[[nodiscard]] int nvram_set(const char* key, const char* value);

/// Writes the changed keys into the file, keeping everything else: other keys, their order,
/// comments, mode and owner. The file is replaced in one step. Returns 0, or -1 when that failed;
/// the old file is then whole.
[[nodiscard]] int nvram_commit();

}  // namespace webauth
