// The head of a request: whatever it says, it ends where it ends, and lies within its bounds.
#include <cstdlib>

#include "portal/http_request.h"

using namespace webauth;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  const auto demand = [](bool holds) { holds ? void() : std::abort(); };
  const auto [status, request] = read_head(bytes);
  demand(status != 0 || size < HEAD_LIMIT);
  if (status != 200) return 0;
  const std::size_t end = request.head_size;
  demand(end <= HEAD_LIMIT && end <= size && bytes[end - 1] == '\n');
  demand(request.path.starts_with('/') && request.body_size <= BODY_LIMIT);
  demand(request.host.find_first_of(std::string_view(" \r\n\t@/\0", 7)) == request.host.npos);
  demand(read_head(bytes.substr(0, end - 1)).status == 0);
  demand(read_head(bytes.substr(0, end)).request.path == request.path);
  return 0;
}
