// A TCP port on a command line.
#pragma once

#include <charconv>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

namespace webauth {

/// 1 to 65535 in decimal. Throws, with what to tell the operator.
inline std::uint16_t read_port(std::string_view text) {
  std::uint16_t port = 0;
  const char* const end = text.data() + text.size();
  const auto [next, error] = std::from_chars(text.data(), end, port);
  if (error != std::errc{} || next != end || port == 0) {
    throw std::runtime_error(std::string(text) + " is not a port");
  }
  return port;
}

}  // namespace webauth
