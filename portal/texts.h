// What the pages say, in the languages that are built in; an operator can override single texts and
// add languages. Pure; nothing here fails.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace webauth {

enum class Text : std::uint8_t {
  TITLE,
  DIRECTION,  ///< of writing: ltr or rtl
  NAME,
  MAIL_NAME,
  PASSWORD,
  LOG_IN,
  CONNECT,
  LOG_OUT,
  CONNECT_AGAIN,
  ONE_KEY,
  WEIXIN,
  IN_THE_CLEAR,
  ACCEPT_TERMS,
  TERMS,
  ONLINE,
  USER,
  TIME_LEFT,
  HOURS,
  MINUTES,
  LESS_THAN_A_MINUTE,
  GO_ON,
  STUCK,
  WAITING,
  REFUSED,
  TIME_USED_UP,
  NOT_LISTED,
  NOT_ADMITTED,
  UNREACHABLE,
  TOO_MANY,
  QUEUE_FULL,
  BAD_NAME,
  BAD_PASSWORD,
  STILL_ONLINE,
  TOO_EARLY,
};

inline constexpr std::size_t TEXT_COUNT = static_cast<std::size_t>(Text::TOO_EARLY) + 1;

struct Language {
  std::string tag;  ///< as in Accept-Language: "de", "pt-BR"
  std::array<std::string, TEXT_COUNT> texts;
  std::string terms;   ///< the operator's, plain text; empty: none
  std::string notice;  ///< likewise, for ADVERT

  [[nodiscard]] const std::string& operator[](Text text) const {
    return texts[static_cast<std::size_t>(text)];
  }
};

/// English, which comes first and stands in for what others lack, German and Chinese.
std::vector<Language> built_in_languages();

/// The text that an operator's file calls `key`: the name above in lower case.
std::optional<Text> find_text(std::string_view key);

/// The language that a browser wants most, by the weights of its Accept-Language; the first one
/// when it wants none of these.
std::size_t choose_language(std::span<const Language> languages, std::string_view accepted);

}  // namespace webauth
