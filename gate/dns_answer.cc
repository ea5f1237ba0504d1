#include "gate/dns_answer.h"

#include <algorithm>
#include <cstring>
#include <optional>

namespace webauth {
namespace {

constexpr std::size_t HEADER = 12;
constexpr int MOST_POINTERS = 16;  // in one name
constexpr int MOST_ALIASES = 16;
constexpr unsigned TYPE_A = 1;
constexpr unsigned TYPE_CNAME = 5;
constexpr unsigned CLASS_INTERNET = 1;

// A message and a place in it; `at` beyond the end says that something did not fit.
struct Reader {
  std::string_view bytes;
  std::size_t at = 0;

  [[nodiscard]] bool is_broken() const { return at > bytes.size(); }
  void skip(std::size_t count) { at = std::min(at + count, bytes.size() + 1); }

  std::uint32_t number(std::size_t count) {
    std::uint32_t value = 0;
    for (std::size_t i = at; i < at + count && i < bytes.size(); ++i) {
      value = value << 8 | static_cast<unsigned char>(bytes[i]);
    }
    skip(count);
    return value;
  }
};

// A name from the reader's place on, which goes behind it.
std::string read_name(Reader& reader) {
  std::string name;
  Reader label = reader;
  for (int pointers = 0; !label.is_broken();) {
    const std::uint32_t length = label.number(1);
    if (length >= 0xc0) {
      const std::uint32_t place = (length & 0x3f) << 8 | label.number(1);
      if (pointers == 0) reader.at = label.at;
      if (++pointers > MOST_POINTERS) break;
      label.at = place;
    } else if (length == 0) {
      if (pointers == 0) reader.at = label.at;
      return name;
    } else {
      const std::size_t begin = label.at - 1;
      const bool is_long = length > 63 || name.size() + length + 1 >= LONGEST_DNS_NAME;
      if (is_long || begin + 1 + length > label.bytes.size()) break;
      name += label.bytes.substr(begin, length + 1);
      label.skip(length);
    }
  }
  reader.at = reader.bytes.size() + 1;
  return {};
}

struct Record {
  std::string owner;
  std::string alias_of;  // of a CNAME
  std::optional<NamedAddress> address;
};

Record read_record(Reader& reader) {
  Record record;
  record.owner = lower_case(read_name(reader));
  const std::uint32_t type = reader.number(2);
  const bool is_internet = reader.number(2) == CLASS_INTERNET;
  const std::uint32_t ttl = reader.number(4);
  const std::uint32_t length = reader.number(2);
  Reader data = reader;
  reader.skip(length);
  if (reader.is_broken() || !is_internet) return record;
  if (type == TYPE_CNAME) record.alias_of = lower_case(read_name(data));
  if (type == TYPE_A && length == sizeof(std::uint32_t)) {
    NamedAddress address{.ip = 0, .ttl = ttl};
    std::memcpy(&address.ip, data.bytes.data() + data.at, sizeof address.ip);
    record.address = address;
  }
  return record;
}

// What the name stands for, through its aliases.
std::string real_name(const std::vector<Record>& records, std::string name) {
  for (int i = 0; i < MOST_ALIASES; ++i) {
    const auto alias = std::find_if(records.begin(), records.end(), [&](const Record& record) {
      return record.owner == name && !record.alias_of.empty();
    });
    if (alias == records.end()) break;
    name = alias->alias_of;
  }
  return name;
}

}  // namespace

std::string lower_case(std::string_view labels) {
  std::string lower(labels);
  for (char& c : lower) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return lower;
}

DnsAnswer read_dns_answer(std::string_view message) {
  Reader reader{message, 2};
  const std::uint32_t flags = reader.number(2);
  const std::uint32_t questions = reader.number(2);
  const std::uint32_t count = reader.number(2);
  reader.at = HEADER;
  constexpr std::uint32_t RESPONSE_OPCODE_RCODE = 0xf80f;
  if ((flags & RESPONSE_OPCODE_RCODE) != 0x8000 || questions != 1) return {};
  DnsAnswer answer{.name = lower_case(read_name(reader)), .addresses{}};
  const bool asks_address = reader.number(2) == TYPE_A && reader.number(2) == CLASS_INTERNET;
  if (reader.is_broken() || !asks_address) return {};
  std::vector<Record> records;
  for (std::uint32_t i = 0; i < std::min<std::uint32_t>(count, MOST_DNS_RECORDS); ++i) {
    records.push_back(read_record(reader));
    if (reader.is_broken()) records.pop_back();
    if (reader.is_broken()) break;
  }
  const std::string owner = real_name(records, answer.name);
  for (const Record& record : records) {
    if (record.owner == owner && record.address) answer.addresses.push_back(*record.address);
  }
  return answer;
}

std::string_view udp_payload(std::string_view packet) {
  constexpr std::size_t IP6_HEADER_SIZE = 40;
  constexpr std::size_t UDP_HEADER = 8;
  if (packet.empty()) return {};
  const auto first = static_cast<unsigned char>(packet[0]);
  const std::size_t ip4_header = std::size_t{4} * (first & 0xfU);
  const std::size_t begin = (first >> 4 == 6 ? IP6_HEADER_SIZE : ip4_header) + UDP_HEADER;
  return begin < packet.size() ? packet.substr(begin) : std::string_view{};
}

}  // namespace webauth
