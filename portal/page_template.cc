#include "portal/page_template.h"

#include <openssl/evp.h>

#include <algorithm>
#include <iterator>

#include "portal/digest.h"
#include "portal/html_text.h"

namespace webauth {
namespace {

using Mark = PageTemplate::Mark;

struct MarkRow {
  std::string_view text;
  Mark mark;
  bool is_ours_only;
};

constexpr MarkRow MARKS[] = {
    {"{{form}}", Mark::FORM, false},
    {"{{title}}", Mark::TITLE, false},
    {"{{language}}", Mark::LANGUAGE, true},
    {"{{direction}}", Mark::DIRECTION, true},
};

const MarkRow* mark_at(std::string_view text, bool is_ours) {
  const auto* const row = std::find_if(std::begin(MARKS), std::end(MARKS), [&](const MarkRow& m) {
    return (is_ours || !m.is_ours_only) && text.starts_with(m.text);
  });
  return row != std::end(MARKS) ? row : nullptr;
}

std::string style_hash(std::string_view style) {
  const Digest digest = sha256(style);
  unsigned char text[2 * sizeof digest] = {};
  EVP_EncodeBlock(text, digest.data(), static_cast<int>(digest.size()));
  return std::string(" 'sha256-") + reinterpret_cast<const char*>(text) + '\'';
}

}  // namespace

PageTemplate read_template(std::string_view text, bool is_ours) {
  PageTemplate page{.pieces{}, .size = text.size()};
  std::size_t begin = 0;
  for (std::size_t at = text.find("{{"); at != std::string_view::npos; at = text.find("{{", at)) {
    const MarkRow* row = mark_at(text.substr(at), is_ours);
    if (row == nullptr) {
      ++at;
      continue;
    }
    page.pieces.push_back({std::string(text.substr(begin, at - begin)), row->mark});
    at += row->text.size();
    begin = at;
  }
  page.pieces.push_back({std::string(text.substr(begin)), Mark::END});
  return page;
}

bool has_form(const PageTemplate& page) {
  return std::any_of(page.pieces.begin(), page.pieces.end(),
                     [](const auto& piece) { return piece.mark == Mark::FORM; });
}

std::string fill_template(const PageTemplate& page, const PageParts& parts) {
  std::string text;
  text.reserve(page.size + parts.form.size() + 4 * parts.title.size());
  for (const PageTemplate::Piece& piece : page.pieces) {
    text += piece.text;
    switch (piece.mark) {
      case Mark::END:
        break;
      case Mark::FORM:
        text += parts.form;
        break;
      case Mark::TITLE:
        append_html(text, parts.title);
        break;
      case Mark::LANGUAGE:
        append_html(text, parts.language);
        break;
      case Mark::DIRECTION:
        append_html(text, parts.direction);
        break;
    }
  }
  return text;
}

std::string security_policy(std::string_view text) {
  std::string tags(text);  // in lower case
  std::transform(tags.begin(), tags.end(), tags.begin(), [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  });
  std::string hashes;
  for (std::size_t at = tags.find("<style"); at != std::string::npos;
       at = tags.find("<style", at)) {
    const std::size_t begin = std::min(tags.find('>', at), tags.size() - 1) + 1;
    const std::size_t end = std::min(tags.find("</style", begin), tags.size());
    hashes += style_hash(text.substr(begin, end - begin));
    at = end;
  }
  return "default-src 'none'; style-src" + (hashes.empty() ? " 'none'" : hashes) +
         "; img-src data:; form-action 'self'; base-uri 'none'; frame-ancestors 'none'";
}

}  // namespace webauth
