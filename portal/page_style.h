// How our own page looks: one column, everything in relative sizes, light and dark, no file but the
// page itself.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace webauth {

/// Of the button, and behind the page; those of the dark scheme apart.
struct PageColours {
  std::uint32_t accent = 0x0b57d0;  ///< 0xrrggbb
  std::uint32_t background = 0xeef1f6;
  std::uint32_t dark_accent = 0xa8c7fa;
  std::uint32_t dark_background = 0x111318;
};

/// "#rrggbb".
std::optional<std::uint32_t> read_colour(std::string_view text);

/// Black or white, whichever is easier to read on `colour`: at least 4.58 to 1.
const char* colour_on(std::uint32_t colour);

/// The whole page with its marks (page_template.h). `logo` is a data: address or empty;
/// `button_delay` holds the button of an advertisement back, seconds.
std::string page_text(const PageColours& colours, std::string_view logo, int button_delay);

}  // namespace webauth
