// One HTTP/1.0 or 1.1 request as strangers write it, read out of the bytes that have come so far.
// Format: RFC 9112. Nothing here allocates, fails or ends the process; what a request holds are
// views into its bytes.
#pragma once

#include <cstddef>
#include <string_view>

namespace webauth {

inline constexpr std::size_t HEAD_LIMIT = 8192;  ///< request line up to and with the empty line
inline constexpr std::size_t BODY_LIMIT = 2048;

enum class Method { GET, HEAD, POST, OTHER };

struct Request {
  Method method = Method::OTHER;
  std::string_view host;  ///< of an absolute target, else of the header; empty: none
  std::string_view path;  ///< of the target, without its query
  std::string_view languages;
  std::string_view origin;
  bool has_origin = false;  ///< more than one: an empty `origin`, which is nobody's
  std::string_view fetch_site;
  std::size_t head_size = 0;
  std::size_t body_size = 0;
  int body_status = 0;    ///< 400, 411 or 413: the body cannot be read; 0: it can
  std::string_view body;  ///< for who has waited until it was there
};

struct HeadResult {
  int status = 0;  ///< 0: not yet whole; 200: it is; 400, 405, 431: what to answer
  Request request;
};

/// Reads the head that `bytes` begin with. A method other than GET, HEAD and POST is 405 whatever
/// the rest of the head says. What is wrong with Content-Length or Transfer-Encoding goes into
/// `body_status`, since other answers come before.
HeadResult read_head(std::string_view bytes);

/// Whether both are the same but for the case of ASCII letters.
bool is_same_word(std::string_view a, std::string_view b);

}  // namespace webauth
