// A form: what is decoded is no longer than what came, holds no NUL, and no name twice.
#include <cstdlib>
#include <set>
#include <string>

#include "portal/form.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string body(reinterpret_cast<const char*>(data), size);
  const auto demand = [](bool holds) { holds ? void() : std::abort(); };
  const auto form = webauth::decode_form(body);
  if (!form) return 0;
  std::set<std::string_view> names;
  std::size_t decoded = 0;
  for (std::size_t i = 0; i < form->count; ++i) {
    const auto& [name, value] = form->fields[i];
    demand(names.insert(name).second && form->value(name) == value);
    demand((std::string(name) + std::string(value)).find('\0') == std::string::npos);
    decoded += name.size() + value.size();
  }
  demand(decoded <= size);
  return 0;
}
