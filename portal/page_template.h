// The page around a form: our own, or the operator's page.html. Pure; nothing here fails.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace webauth {

/// Cut at its marks once, so that nothing that is put in can be taken for a mark.
struct PageTemplate {
  enum class Mark { END, FORM, TITLE, LANGUAGE, DIRECTION };
  struct Piece {
    std::string text;
    Mark mark;  ///< behind the text
  };
  std::vector<Piece> pieces;
  std::size_t size = 0;  ///< of the whole, about
};

struct PageParts {
  std::string_view form;   ///< HTML
  std::string_view title;  ///< text, as all below
  std::string_view language;
  std::string_view direction;
};

/// An operator's page has the marks {{form}} and {{title}} alone; ours {{language}} and
/// {{direction}} too.
PageTemplate read_template(std::string_view text, bool is_ours);

bool has_form(const PageTemplate& page);

std::string fill_template(const PageTemplate& page, const PageParts& parts);

/// The Content-Security-Policy of pages made from `text`: nothing is loaded and nothing runs; what
/// stands between its <style> tags is allowed by hash, pictures as data: only.
std::string security_policy(std::string_view text);

}  // namespace webauth
