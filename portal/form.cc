#include "portal/form.h"

#include <algorithm>

namespace webauth {
namespace {

int digit_of(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

// Decodes a text to its own beginning.
std::optional<std::string_view> decode(std::span<char> text) {
  std::size_t size = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    char c = text[i];
    if (c == '+') c = ' ';
    if (c == '%') {
      if (text.size() - i < 3) return {};
      const int high = digit_of(text[i + 1]);
      const int low = digit_of(text[i + 2]);
      if (high < 0 || low < 0) return {};
      c = static_cast<char>(high << 4 | low);
      i += 2;
    }
    if (c == '\0') return {};
    text[size++] = c;
  }
  return std::string_view(text.data(), size);
}

bool add_field(Form& form, std::span<char> text) {
  const auto sign = std::find(text.begin(), text.end(), '=');
  const auto name_size = static_cast<std::size_t>(sign - text.begin());
  const auto name = decode(text.first(name_size));
  const auto value = decode(text.subspan(std::min(name_size + 1, text.size())));
  if (!name || !value || form.count == MOST_FIELDS) return false;
  const auto* const end = form.fields.begin() + form.count;
  if (std::any_of(form.fields.cbegin(), end, [&](const auto& f) { return f.name == *name; })) {
    return false;
  }
  form.fields[form.count++] = {*name, *value};
  return true;
}

}  // namespace

std::string_view Form::value(std::string_view name) const {
  for (std::size_t i = 0; i < count; ++i) {
    if (fields[i].name == name) return fields[i].value;
  }
  return {};
}

std::optional<Form> decode_form(std::span<char> body) {
  Form form;
  while (!body.empty()) {
    const auto sign = std::find(body.begin(), body.end(), '&');
    const auto size = static_cast<std::size_t>(sign - body.begin());
    if (size > 0 && !add_field(form, body.first(size))) return {};
    body = body.subspan(std::min(size + 1, body.size()));
  }
  return form;
}

}  // namespace webauth
