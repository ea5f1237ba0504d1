// Host names in the label form of DNS messages (RFC 1035, 3.1).
#pragma once

#include <cstddef>

namespace webauth {

/// Whether a text begins with four decimal numbers separated by dots.
bool is_ipv4_text(const char* text);

/// Writes `name` as labels, each behind a byte with its length, ended by a zero byte: two bytes
/// more than the name. An empty label ends the encoding where it stands. Returns 0, or -1 for a
/// dotted number, a name without a dot, 64 labels or more, a label over 63 bytes, and a name that
/// does not fit into `size` bytes.
int encode_dns_name(const char* name, char* output, std::size_t size);

}  // namespace webauth
