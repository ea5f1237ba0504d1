#include "portal/page_style.h"

#include <charconv>
#include <cstdio>

namespace webauth {
namespace {

constexpr char STYLE[] =
    R"(*{box-sizing:border-box}
html{font:100%/1.5 system-ui,-apple-system,"Segoe UI",Roboto,"Noto Sans","Noto Sans CJK SC",sans-serif;-webkit-text-size-adjust:100%}
body{margin:0;background:var(--back);color:var(--text)}
main{max-width:26rem;margin:0 auto;padding:1.5rem 1.25rem;background:var(--card);overflow-wrap:anywhere}
@media(min-width:30rem){main{margin:2.5rem auto;padding:2rem;border-radius:1rem;box-shadow:0 .125rem 1rem rgba(0,0,0,.14)}}
img{display:block;max-width:100%;max-height:6rem;margin:0 auto 1rem}
h1{margin:0 0 1rem;font-size:1.5rem;line-height:1.25}
p,dl,details,form,.notice{margin:0 0 1rem}
main>:last-child{margin-bottom:0}
label{display:block;margin:0 0 .25rem;font-weight:600}
input{display:block;width:100%;min-height:48px;margin:0 0 1rem;padding:.5rem .75rem;font:inherit;color:inherit;background:var(--card);border:1px solid var(--line);border-radius:.5rem}
button,.button{display:block;width:100%;min-height:48px;padding:.625rem 1rem;font:inherit;font-weight:600;text-align:center;text-decoration:none;cursor:pointer;border:2px solid transparent;border-radius:.5rem;background:var(--accent);color:var(--on-accent)}
.quiet button{background:transparent;color:inherit;border-color:var(--line)}
:focus-visible{outline:3px solid var(--text);outline-offset:2px}
a,summary{color:inherit}
summary{cursor:pointer;padding:.5rem 0}
[role=alert],[role=status]{padding:.75rem 1rem;border-radius:.5rem;background:var(--info)}
[role=alert]{background:var(--alert);color:var(--on-alert);font-weight:600}
.small{font-size:.875rem;color:var(--soft)}
.plain{white-space:pre-line}
dt{font-size:.875rem;color:var(--soft)}
dd{margin:0 0 .5rem;font-size:1.25rem}
)";

constexpr char COLOURS[] =
    R"(:root{color-scheme:light dark;--card:#fff;--text:#1a1c20;--soft:#4a4f58;--line:#747a85;--info:#e3ebf8;--alert:#fce4e4;--on-alert:#8c1212;--back:#%06x;--accent:#%06x;--on-accent:%s}
@media(prefers-color-scheme:dark){:root{--card:#1c1f25;--text:#e9ebef;--soft:#b9bec8;--line:#8b919d;--info:#26303f;--alert:#4a1a1c;--on-alert:#ffd9d7;--back:#%06x;--accent:#%06x;--on-accent:%s}}
)";

// Nothing runs on the page, so the browser's own clock shows the button.
constexpr char DELAY[] =
    R"(@supports(animation-name:show){.delayed{visibility:hidden;animation:show 0s %ds forwards}}
@keyframes show{to{visibility:visible}}
)";

constexpr char BEGIN[] =
    R"(<!doctype html>
<html lang="{{language}}" dir="{{direction}}">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width,initial-scale=1">
<link rel="icon" href="data:,">
<title>{{title}}</title>
<style>
)";

constexpr char END[] =
    R"(<h1>{{title}}</h1>
{{form}}
</main>
</body>
</html>
)";

// Relative luminance, WCAG 2.
double luminance(std::uint32_t colour) {
  const auto part = [&](unsigned shift) {
    const double value = static_cast<double>(colour >> shift & 0xff) / 255;
    // The curve of sRGB to a few thousandths, without the library of mathematics.
    return value * (value * (value * 0.305306011 + 0.682171111) + 0.012522878);
  };
  return 0.2126 * part(16) + 0.7152 * part(8) + 0.0722 * part(0);
}

}  // namespace

std::optional<std::uint32_t> read_colour(std::string_view text) {
  std::uint32_t colour = 0;
  if (text.size() != 7 || text[0] != '#') return {};
  const auto [end, error] = std::from_chars(text.data() + 1, text.data() + 7, colour, 16);
  if (error != std::errc{} || end != text.data() + 7) return {};
  return colour;
}

const char* colour_on(std::uint32_t colour) {
  return 1.05 / (luminance(colour) + 0.05) > (luminance(colour) + 0.05) / 0.05 ? "#fff" : "#000";
}

std::string page_text(const PageColours& colours, std::string_view logo, int button_delay) {
  std::string text = BEGIN;
  char line[sizeof COLOURS + 64];
  std::snprintf(line, sizeof line, COLOURS, colours.background, colours.accent,
                colour_on(colours.accent), colours.dark_background, colours.dark_accent,
                colour_on(colours.dark_accent));
  text.append(line).append(STYLE);
  if (button_delay > 0) {
    std::snprintf(line, sizeof line, DELAY, button_delay);
    text += line;
  }
  text += "</style>\n</head>\n<body>\n<main>\n";
  if (!logo.empty()) text.append("<img src=\"").append(logo).append("\" alt=\"\">\n");
  return text + END;
}

}  // namespace webauth
