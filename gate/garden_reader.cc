#include "gate/garden_reader.h"

#include <linux/netlink.h>

#include <algorithm>
#include <cstring>
#include <string_view>

#include "common/address_text.h"
#include "common/terminal_text.h"
#include "daemon/wechat/garden_message.h"

namespace webauth {
namespace {

constexpr std::size_t HEADERS_SIZE = NLMSG_HDRLEN + sizeof(GardenHeader);

// The attributes behind the headers, in whatever order they come, up to one that does not fit.
void read_attributes(std::string_view bytes, GardenEntry& found) {
  while (!bytes.empty()) {
    nlattr attribute{};
    std::memcpy(&attribute, bytes.data(), std::min(bytes.size(), sizeof attribute));
    const std::size_t padded = NLA_ALIGN(attribute.nla_len);
    if (attribute.nla_len < NLA_HDRLEN || padded > bytes.size()) {
      found.problem = "attribute length " + std::to_string(attribute.nla_len);
      break;
    }
    const std::string_view payload = bytes.substr(NLA_HDRLEN, attribute.nla_len - NLA_HDRLEN);
    if (attribute.nla_type == GARDEN_ATTR_NAME) {
      found.name = payload;
    } else if (attribute.nla_type == GARDEN_ATTR_IPV4 && payload.size() == sizeof(std::uint32_t)) {
      std::uint32_t address = 0;
      std::memcpy(&address, payload.data(), sizeof address);
      found.address = address;
    } else {
      found.problem = "attribute type " + std::to_string(attribute.nla_type);
    }
    bytes.remove_prefix(padded);
  }
}

// Labels as dotted text; what follows a label that is cut short is left out.
std::string dotted_name(std::string_view labels) {
  std::string name;
  while (!labels.empty()) {
    const auto length = static_cast<unsigned char>(labels[0]);
    if (!name.empty()) name += '.';
    name += labels.substr(1, length);
    labels.remove_prefix(std::min<std::size_t>(labels.size(), 1U + length));
  }
  return terminal_text(name);
}

}  // namespace

std::optional<GardenEntry> read_garden_message(const Datagram& datagram) {
  if (datagram.bytes.size() < HEADERS_SIZE) return {};
  nlmsghdr header{};
  GardenHeader garden{};
  std::memcpy(&header, datagram.bytes.data(), sizeof header);
  std::memcpy(&garden, datagram.bytes.data() + NLMSG_HDRLEN, sizeof garden);
  const bool name =
      garden.entry_class == GARDEN_CLASS_NAME && garden.message_code == GARDEN_HOST_NAME;
  const bool address =
      garden.entry_class == GARDEN_CLASS_ADDRESS && garden.message_code == GARDEN_HOST_ADDRESS;
  if (header.nlmsg_len != datagram.size || (!name && !address)) return {};

  GardenEntry entry;
  entry.is_address = address;
  entry.sender_pid = header.nlmsg_pid;
  read_attributes(datagram.bytes.substr(HEADERS_SIZE), entry);
  if (garden.marker != GARDEN_MARKER) entry.problem = "marker " + std::to_string(garden.marker);
  if (entry.name.empty()) entry.problem = "no name";
  if (entry.address.has_value() != address) entry.problem = "address missing or not expected";
  return entry;
}

std::string garden_text(const GardenEntry& entry) {
  std::string text = entry.is_address ? "GARDEN_HOST_ADDRESS " : "GARDEN_HOST_NAME ";
  text += dotted_name(entry.name);
  if (entry.address) text += ' ' + ip_text(*entry.address);
  return text;
}

}  // namespace webauth
