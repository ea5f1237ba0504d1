#include "portal/http_request.h"

#include <algorithm>
#include <charconv>
#include <optional>

#include "common/text_line.h"

namespace webauth {
namespace {

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool is_alphanumeric(char c) {
  return (c >= '0' && c <= '9') || (lower(c) >= 'a' && lower(c) <= 'z');
}

bool is_token(std::string_view text) {
  constexpr std::string_view MARKS = "!#$%&'*+-.^_`|~";
  return !text.empty() && std::all_of(text.begin(), text.end(), [&](char c) {
    return is_alphanumeric(c) || MARKS.find(c) != std::string_view::npos;
  });
}

bool has_control_byte(std::string_view text) {
  return std::any_of(text.begin(), text.end(),
                     [](unsigned char c) { return (c < ' ' && c != '\t') || c == 0x7f; });
}

// A name, an IPv4 address or an IPv6 address in brackets, and a port or none: RFC 3986, 3.2.
bool is_host(std::string_view text) {
  constexpr std::string_view MARKS = "-._~!$&'()*+,;=%";
  if (text.starts_with('[')) {
    const std::size_t end = text.find(']');
    if (end == std::string_view::npos) return false;
    const std::string_view inner = text.substr(1, end - 1);
    if (inner.find_first_not_of("0123456789abcdefABCDEF:.") != std::string_view::npos) return false;
    text.remove_prefix(end + 1);
  } else {
    const auto end = std::find_if_not(text.begin(), text.end(), [&](char c) {
      return is_alphanumeric(c) || MARKS.find(c) != std::string_view::npos;
    });
    text.remove_prefix(static_cast<std::size_t>(end - text.begin()));
  }
  if (text.empty()) return true;
  return text[0] == ':' && text.find_first_not_of("0123456789", 1) == std::string_view::npos;
}

// Cuts the first line off, without its CRLF or LF.
std::string_view take_head_line(std::string_view& text) {
  std::string_view line = take_line(text);
  if (line.ends_with('\r')) line.remove_suffix(1);
  return line;
}

// What the head is seen to hold while its lines are read.
struct Head {
  Request request;
  std::optional<std::string_view> target_host;  // of an absolute target
  std::optional<std::string_view> length;
  int hosts = 0;
  int lengths = 0;
  bool is_encoded = false;
};

Method method_of(std::string_view text) {
  if (text == "GET") return Method::GET;
  if (text == "HEAD") return Method::HEAD;
  return text == "POST" ? Method::POST : Method::OTHER;
}

// "/path?query" or "scheme://host/path?query".
bool read_target(std::string_view target, Head& head) {
  if (const std::size_t colon = target.find("://"); !target.starts_with('/')) {
    if (colon == std::string_view::npos || colon == 0) return false;
    target.remove_prefix(colon + 3);
    head.target_host = target.substr(0, target.find_first_of("/?#"));
    target.remove_prefix(head.target_host->size());
    if (!is_host(*head.target_host)) return false;
  }
  head.request.path = target.substr(0, target.find_first_of("?#"));
  if (head.request.path.empty()) head.request.path = "/";
  return true;
}

// Returns 200, 400 or 405.
int read_request_line(std::string_view line, Head& head) {
  const std::size_t first = line.find(' ');
  const std::size_t last = line.rfind(' ');
  if (first == std::string_view::npos || first == last || has_control_byte(line)) return 400;
  const std::string_view target = line.substr(first + 1, last - first - 1);
  const std::string_view version = line.substr(last + 1);
  if (!is_token(line.substr(0, first)) || target.find_first_of(" \t") != target.npos) return 400;
  if (version != "HTTP/1.1" && version != "HTTP/1.0") return 400;
  head.request.method = method_of(line.substr(0, first));
  if (head.request.method == Method::OTHER) return 405;
  return read_target(target, head) ? 200 : 400;
}

bool read_field(std::string_view line, Head& head) {
  const std::size_t colon = line.find(':');
  if (colon == std::string_view::npos || !is_token(line.substr(0, colon))) return false;
  const std::string_view name = line.substr(0, colon);
  const std::string_view value = trimmed(line.substr(colon + 1));
  if (has_control_byte(value)) return false;
  Request& request = head.request;
  if (is_same_word(name, "host")) {
    request.host = value;
    return ++head.hosts == 1 && is_host(value);
  }
  if (is_same_word(name, "content-length")) {
    head.length = value;
    ++head.lengths;
  } else if (is_same_word(name, "transfer-encoding")) {
    head.is_encoded = true;
  } else if (is_same_word(name, "origin")) {
    request.origin = request.has_origin ? std::string_view{} : value;
    request.has_origin = true;
  } else if (is_same_word(name, "sec-fetch-site")) {
    request.fetch_site = value;
  } else if (is_same_word(name, "accept-language")) {
    request.languages = value;
  }
  return true;
}

// Puts what is known of the body into the request.
void judge_body(Head& head) {
  Request& request = head.request;
  if (head.length) {
    const char* const end = head.length->data() + head.length->size();
    const bool is_number = !head.length->empty() &&
                           head.length->find_first_not_of("0123456789") == std::string_view::npos;
    const auto [next, error] = std::from_chars(head.length->data(), end, request.body_size);
    if (head.lengths > 1 || !is_number) {
      request.body_status = 400;
    } else if (error == std::errc::result_out_of_range || request.body_size > BODY_LIMIT) {
      request.body_status = 413;
    }
  }
  if (request.body_status == 0 && head.is_encoded) request.body_status = 411;
  if (request.body_status != 0) request.body_size = 0;
}

// The head's size with its empty line, or 0 while that has not come.
std::size_t find_end(std::string_view bytes) {
  for (std::size_t at = bytes.find('\n'); at != std::string_view::npos;
       at = bytes.find('\n', at + 1)) {
    std::string_view rest = bytes.substr(at + 1, 2);
    if (rest.starts_with('\n')) return at + 2;
    if (rest == "\r\n") return at + 3;
  }
  return 0;
}

}  // namespace

bool is_same_word(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char x, char y) { return lower(x) == lower(y); });
}

HeadResult read_head(std::string_view bytes) {
  // Some clients send an empty line behind the body of the request before.
  const std::size_t begin = std::min(bytes.find_first_not_of("\r\n"), bytes.size());
  const std::size_t size = find_end(bytes.substr(begin));
  if (size == 0 || begin + size > HEAD_LIMIT) {
    return {.status = bytes.size() >= HEAD_LIMIT ? 431 : 0, .request{}};
  }
  Head head;
  head.request.head_size = begin + size;
  std::string_view lines = bytes.substr(begin, size);
  const int status = read_request_line(take_head_line(lines), head);
  if (status != 200) return {.status = status, .request = head.request};
  for (std::string_view line = take_head_line(lines); !line.empty(); line = take_head_line(lines)) {
    if (!read_field(line, head)) return {.status = 400, .request = head.request};
  }
  if (head.target_host) head.request.host = *head.target_host;
  judge_body(head);
  return {.status = 200, .request = head.request};
}

}  // namespace webauth
