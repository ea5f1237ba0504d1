// An answer as bytes. Every one closes the connection, is kept by nobody, runs no script and stands
// in no frame. Nothing of a request may be put into it but escaped texts in the body.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace webauth {

inline constexpr char HTML_TYPE[] = "text/html; charset=utf-8";

struct Response {
  int status = 200;
  std::string body{};
  const char* type = HTML_TYPE;
  std::string location{};        ///< empty: none
  std::int64_t retry_after = 0;  ///< seconds; 0: none
};

/// A plain answer of a few words, for what no browser of a visitor asks.
Response plain_response(int status);

/// 302 or 303 to an address that is ours.
Response redirect_response(int status, const std::string& location);

/// Head and body; `policy` is the Content-Security-Policy.
std::string response_text(const Response& response, std::string_view policy, bool with_body);

}  // namespace webauth
