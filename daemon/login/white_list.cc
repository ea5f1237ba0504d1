#include "daemon/login/white_list.h"

#include "common/file.h"

namespace webauth {

std::string_view white_list_entry(std::string_view line) {
  return line.substr(0, line.find_first_of(" \r\n"));
}

bool is_white_listed(const char* path, std::string_view user) {
  const File file = open_for_reading(path);
  if (!file) return false;
  char line[WHITE_LIST_LINE_SIZE];
  while (read_line(file.get(), line)) {
    if (white_list_entry(line) == user) return true;
  }
  return false;
}

}  // namespace webauth
