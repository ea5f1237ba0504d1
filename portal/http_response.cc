#include "portal/http_response.h"

namespace webauth {
namespace {

constexpr std::size_t LONGEST_HEAD = 512;  // without the policy; or more, it is no bound

const char* reason_of(int status) {
  switch (status) {
    case 200:
      return "OK";
    case 302:
      return "Found";
    case 303:
      return "See Other";
    case 400:
      return "Bad Request";
    case 403:
      return "Forbidden";
    case 404:
      return "Not Found";
    case 405:
      return "Method Not Allowed";
    case 411:
      return "Length Required";
    case 413:
      return "Content Too Large";
    case 429:
      return "Too Many Requests";
    case 431:
      return "Request Header Fields Too Large";
    default:
      return "Service Unavailable";
  }
}

}  // namespace

Response plain_response(int status) {
  Response response{.status = status, .type = "text/plain; charset=utf-8"};
  response.body = std::to_string(status) + ' ' + reason_of(status) + '\n';
  return response;
}

Response redirect_response(int status, const std::string& location) {
  // Some systems take an answer without a body for a broken network.
  return {.status = status,
          .body = "<!doctype html><title>Login</title><a href=\"" + location + "\">Login</a>\n",
          .location = location};
}

std::string response_text(const Response& response, std::string_view policy, bool with_body) {
  std::string text;
  text.reserve(policy.size() + response.body.size() + LONGEST_HEAD);
  text.append("HTTP/1.1 ").append(std::to_string(response.status)).append(" ");
  text.append(reason_of(response.status)).append("\r\nContent-Type: ").append(response.type);
  text += "\r\nContent-Length: " + std::to_string(response.body.size());
  if (!response.location.empty()) text += "\r\nLocation: " + response.location;
  if (response.retry_after > 0) text += "\r\nRetry-After: " + std::to_string(response.retry_after);
  if (response.status == 405) text += "\r\nAllow: GET, HEAD, POST";
  text +=
      "\r\nConnection: close\r\nCache-Control: no-store\r\nX-Content-Type-Options: nosniff"
      "\r\nReferrer-Policy: same-origin\r\nContent-Security-Policy: ";
  text.append(policy).append("\r\n\r\n");
  if (with_body) text += response.body;
  return text;
}

}  // namespace webauth
