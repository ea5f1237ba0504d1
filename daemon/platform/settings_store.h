// The router's settings: KEY=VALUE lines in a text file.
//
// The file is the one that the environment variable WEBAUTHD_SETTINGS names, or
// DEFAULT_SETTINGS_FILE; platform/setting_line.h has the form of a line. Of several lines with one
// key the last wins; a missing file is an empty store. A file that cannot be read, or is suddenly
// empty (somebody is rewriting it), leaves what was read before. Nothing here ends the process.
#pragma once

namespace webauth {

inline constexpr char DEFAULT_SETTINGS_FILE[] = "/etc/webauthd/settings";

/// The file's path.
const char* settings_path();

/// Reads the file for the first time. False when there is one that cannot be read: to go on then
/// would be to go on without its settings.
[[nodiscard]] bool nvram_open();

/// The value of a key, or a null pointer when the key does not exist. The file is read again only
/// after it may have changed. The text belongs to the store and outlives the next call of
/// nvram_get, so that a caller may hold two at a time; nvram_set and nvram_commit may end it.
const char* nvram_get(const char* key);

/// Changes this process's view of a key; nvram_commit writes it. Returns 0, or -1 when key and
/// value would not be read back from a line of the file as they are.
[[nodiscard]] int nvram_set(const char* key, const char* value);

/// Writes the changed keys into the file, keeping everything else: other keys, their order,
/// comments, mode and owner. The file is replaced in one step. Returns 0, or -1 when that failed,
/// or when the file as it stands cannot be read or is suddenly empty: it is then left alone.
[[nodiscard]] int nvram_commit();

}  // namespace webauth
