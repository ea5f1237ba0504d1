#include "tests/support/script.h"

#include <cstdio>
#include <iomanip>
#include <sstream>

namespace webauth {
namespace {

std::string meaning(const std::string& word) {
  std::string text;
  for (std::size_t at = 0; at < word.size(); ++at) {
    int used = 0;
    unsigned number = 0;
    const char* escape = word.c_str() + at + 1;
    if (word[at] != '\\') {
      text += word[at];
    } else if (*escape == 'n') {
      text += '\n', ++at;
    } else if (std::sscanf(escape, "x%2x%n", &number, &used) == 1) {
      text += static_cast<char>(number), at += static_cast<std::size_t>(used);
    } else if (std::sscanf(escape, "%u*%n", &number, &used) == 1 && used > 0) {
      text.append(number, escape[used]), at += static_cast<std::size_t>(used) + 1;
    }
  }
  return text;
}

}  // namespace

Lines words_of(const std::string& line) {
  Lines words;
  std::istringstream stream(line);
  for (std::string word; stream >> std::quoted(word, '"', '\0');) words.push_back(meaning(word));
  return words;
}

}  // namespace webauth
