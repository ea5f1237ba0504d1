// What an operator changes without touching code, from one folder: portal.conf, logo.png or
// logo.svg, terms.LANG, notice.LANG, texts.LANG, page.html. Everything is bounded and escaped; none
// of it runs.
#pragma once

#include <string>
#include <vector>

#include "portal/page_template.h"
#include "portal/texts.h"

namespace webauth {

struct Branding {
  std::vector<Language> languages;  ///< English first
  PageTemplate page;
  std::string policy;  ///< Content-Security-Policy of the page
  std::string title;   ///< empty: each language's own
  std::string link;    ///< http(s) address to go on to after the login; empty: none
  bool terms = false;
  int advert_seconds = 0;               ///< after which the button of ADVERT works
  std::vector<std::string> complaints;  ///< about files and keys that were left out
};

/// A missing folder is the built-in look. Throws std::runtime_error for a page.html that cannot be
/// used; what else is wrong is left out and told in `complaints`.
Branding load_branding(const std::string& folder);

}  // namespace webauth
