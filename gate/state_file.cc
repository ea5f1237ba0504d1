#include "gate/state_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <string_view>

#include "common/fd_guard.h"
#include "common/file.h"

namespace webauth {
namespace {

constexpr char NAME[] = "/state";
constexpr char TEMP_NAME[] = "/state.tmp";

constexpr int LINE_SIZE = 1200;  // more than the longest name takes, two digits a byte

std::string hexadecimal(std::string_view bytes) {
  std::string text;
  for (const char byte : bytes) {
    char digits[3];
    std::snprintf(digits, sizeof digits, "%02x", static_cast<unsigned char>(byte));
    text += digits;
  }
  return text;
}

std::string bytes_of(const char* digits) {
  std::string bytes;
  for (unsigned byte = 0; std::sscanf(digits, "%2x", &byte) == 1; digits += 2) {
    bytes += static_cast<char>(byte);
    if (digits[1] == '\0' || digits[1] == '\n') break;
  }
  return bytes;
}

}  // namespace

void make_state_folder(const std::string& folder) {
  for (std::size_t end = folder.find('/', 1);; end = folder.find('/', end + 1)) {
    if (mkdir(folder.substr(0, end).c_str(), 0755) != 0 && errno != EEXIST) break;
    if (end == std::string::npos) return;
  }
  throw std::runtime_error("cannot make " + folder + ": " + std::strerror(errno));
}

std::uint32_t read_state(const std::string& folder, SessionTable& table) {
  const File file = open_for_reading((folder + NAME).c_str());
  std::uint32_t port = 0;
  char line[LINE_SIZE];
  while (file && read_line(file.get(), line)) {
    Timeouts timeouts{};
    char digits[LINE_SIZE];
    (void)std::sscanf(line, "daemon %u", &port);
    if (std::sscanf(line, "timeouts %u %u", &timeouts.idle, &timeouts.maximum) == 2) {
      table.timeouts = timeouts;
    }
    if (std::sscanf(line, "name %1199s", digits) == 1) table.names.insert(bytes_of(digits));
  }
  return port;
}

bool write_state(const std::string& folder, const SessionTable& table, std::uint32_t daemon_port) {
  std::string text = "daemon " + std::to_string(daemon_port) + '\n';
  if (table.timeouts) {
    text += "timeouts " + std::to_string(table.timeouts->idle) + ' ' +
            std::to_string(table.timeouts->maximum) + '\n';
  }
  for (const std::string& name : table.names) text += "name " + hexadecimal(name) + '\n';
  const std::string temp = folder + TEMP_NAME;
  {
    const FdGuard file(
        open(temp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0600));
    if (file.get() < 0 || !write_whole(file.get(), text)) return false;
  }
  return std::rename(temp.c_str(), (folder + NAME).c_str()) == 0;
}

void remove_state(const std::string& folder) {
  (void)unlink((folder + NAME).c_str());
  (void)unlink((folder + TEMP_NAME).c_str());
  (void)rmdir(folder.c_str());
}

}  // namespace webauth
