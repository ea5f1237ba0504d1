#include "daemon/wechat/garden_name.h"

#include <cstring>

#include "daemon/wechat/host_name.h"

namespace webauth {

std::optional<std::size_t> encode_garden_name(const char* host,
                                              char (&name)[GARDEN_NAME_BUFFER_SIZE]) {
  if (encode_dns_name(host, name, sizeof name) != 0) return {};
  const std::size_t length = std::strlen(name);
  if (length > LONGEST_GARDEN_NAME) return {};
  return length;
}

}  // namespace webauth
