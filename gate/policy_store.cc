#include "gate/policy_store.h"

#include <endian.h>
#include <linux/netfilter.h>
#include <linux/netfilter/nf_tables.h>
#include <linux/netfilter/nfnetlink.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "gate/ruleset.h"

namespace webauth {
namespace {

constexpr std::size_t BATCH_BYTES = std::size_t{128} << 10;  // fits an unprivileged send buffer
constexpr std::size_t CHANGE_BYTES = 1024;                   // more than the largest change takes
constexpr std::uint8_t COMMENT_TYPE = 0;  // as nft marks what it shows as comment

constexpr char COMMENT_IN[] = "idle %u s, check %u s, %" SCNd64 " to %" SCNd64 " ms";

// "<type><length><text><NUL>" with what a successor must know, also to be read by an operator. An
// admission would take longer by a fiftieth with snprintf.
void put_comment(nlmsghdr* header, const UserData& data) {
  char comment[128];
  char* at = comment + 2;
  const auto put = [&](std::string_view text, std::int64_t number) {
    at = std::copy(text.begin(), text.end(), at);
    at = std::to_chars(at, std::end(comment), number).ptr;
  };
  put("idle ", data.idle);
  put(" s, check ", data.recheck);
  put(" s, ", data.since);
  put(" to ", data.deadline);
  at = std::copy_n(" ms", sizeof " ms", at);
  comment[0] = COMMENT_TYPE;
  comment[1] = static_cast<char>(at - comment - 2);
  mnl_attr_put(header, NFTA_SET_ELEM_USERDATA, static_cast<std::size_t>(at - comment), comment);
}

UserData read_comment(const nlattr* attribute) {
  UserData data;
  const std::string text(static_cast<const char*>(mnl_attr_get_payload(attribute)),
                         mnl_attr_get_payload_len(attribute));
  if (text.size() > 2) {
    (void)std::sscanf(text.c_str() + 2, COMMENT_IN, &data.idle, &data.recheck, &data.since,
                      &data.deadline);
  }
  return data;
}

void put_key(nlmsghdr* header, const ElementKey& key) {
  nlattr* nest = mnl_attr_nest_start(header, NFTA_SET_ELEM_KEY);
  mnl_attr_put(header, NFTA_DATA_VALUE, key.size, key.bytes.data());
  mnl_attr_nest_end(header, nest);
}

void put_element(nlmsghdr* header, const SetChange& change) {
  nlattr* list = mnl_attr_nest_start(header, NFTA_SET_ELEM_LIST_ELEMENTS);
  nlattr* element = mnl_attr_nest_start(header, NFTA_LIST_ELEM);
  put_key(header, change.key);
  if (change.timeout > 0) {
    const auto timeout = static_cast<std::uint64_t>(change.timeout);
    mnl_attr_put_u64(header, NFTA_SET_ELEM_TIMEOUT, htobe64(timeout));
  }
  if (change.set == PolicySet::USERS) put_comment(header, change.data);
  mnl_attr_nest_end(header, element);
  mnl_attr_nest_end(header, list);
}

nlmsghdr* put_set_message(Nfnetlink& link, void* buffer, int message, int flags, PolicySet set) {
  nlmsghdr* header = put_message(link, buffer, nft_type(message), flags, NFPROTO_INET);
  mnl_attr_put_strz(header, NFTA_SET_ELEM_LIST_TABLE, TABLE_NAME);
  mnl_attr_put_strz(header, NFTA_SET_ELEM_LIST_SET, shape_of(set).name);
  return header;
}

// A transaction: messages one behind the other.
struct Batch {
  alignas(nlmsghdr) std::array<char, BATCH_BYTES> bytes;
  std::size_t size;

  void* room() { return bytes.data() + size; }
  nlmsghdr* add(nlmsghdr* message) {
    size += NLMSG_ALIGN(message->nlmsg_len);
    return message;
  }
};

Batch batch;  // one thread, one transaction at a time

nlmsghdr* put_step(Nfnetlink& link, int message, const SetChange& change) {
  const int flags = message == NFT_MSG_NEWSETELEM ? NLM_F_CREATE : 0;
  nlmsghdr* header = put_set_message(link, batch.room(), message, flags, change.set);
  if (change.change != ElementChange::FLUSH) put_element(header, change);
  return batch.add(header);
}

// To delete what may not be there is an error, so it is added first: every kernel takes that.
// Returns the last of its messages.
nlmsghdr* put_change(Nfnetlink& link, const SetChange& change) {
  nlmsghdr* last = nullptr;
  if (change.change != ElementChange::FLUSH) {
    last = put_step(link, NFT_MSG_NEWSETELEM, change);
  }
  if (change.change != ElementChange::ADD) last = put_step(link, NFT_MSG_DELSETELEM, change);
  if (change.change == ElementChange::RENEW) {
    last = put_step(link, NFT_MSG_NEWSETELEM, change);
  }
  return last;
}

void put_frame(Nfnetlink& link, int type) {
  batch.add(put_message(link, batch.room(), type, 0, AF_UNSPEC, NFNL_SUBSYS_NFTABLES));
}

// Applies as many as one transaction holds; `count` is how many they were.
int apply_some(Nfnetlink& link, std::span<const SetChange> changes, std::size_t& count) {
  batch.size = 0;
  put_frame(link, NFNL_MSG_BATCH_BEGIN);
  nlmsghdr* last = nullptr;
  for (count = 0; count < changes.size() && batch.size + CHANGE_BYTES < BATCH_BYTES; ++count) {
    last = put_change(link, changes[count]);
  }
  last->nlmsg_flags |= NLM_F_ACK;  // the end of a batch is not acknowledged by every kernel
  put_frame(link, NFNL_MSG_BATCH_END);
  return talk(link, batch.bytes.data(), batch.size);
}

Element read_element(const nlattr* nest) {
  Element element;
  for_each_attribute(nest, [&](const nlattr* attribute) {
    switch (mnl_attr_get_type(attribute)) {
      case NFTA_SET_ELEM_KEY:
        for_each_attribute(attribute, [&](const nlattr* value) {
          const std::size_t size =
              std::min<std::size_t>(mnl_attr_get_payload_len(value), element.key.bytes.size());
          std::memcpy(element.key.bytes.data(), mnl_attr_get_payload(value), size);
          element.key.size = static_cast<std::uint8_t>(size);
        });
        break;
      case NFTA_SET_ELEM_EXPIRATION:
        element.left =
            static_cast<std::int64_t>(be64toh(attribute_value<std::uint64_t>(attribute)));
        break;
      case NFTA_SET_ELEM_USERDATA:
        element.data = read_comment(attribute);
        break;
      default:
        break;
    }
  });
  return element;
}

int ask_elements(Nfnetlink& link, nlmsghdr* request,
                 const std::function<void(const Element&)>& take) {
  return talk(link, request, request->nlmsg_len, [&](const nlmsghdr* answer) {
    for_each_attribute(answer, [&](const nlattr* attribute) {
      if (mnl_attr_get_type(attribute) != NFTA_SET_ELEM_LIST_ELEMENTS) return;
      for_each_attribute(attribute, [&](const nlattr* nest) { take(read_element(nest)); });
    });
  });
}

}  // namespace

int apply_changes(Nfnetlink& link, std::span<const SetChange> changes, std::size_t& done) {
  done = 0;
  while (done < changes.size()) {
    std::size_t count = 0;
    if (const int error = apply_some(link, changes.subspan(done), count)) return error;
    done += count;
  }
  return 0;
}

std::optional<Element> find_element(Nfnetlink& link, PolicySet set, const ElementKey& key) {
  alignas(nlmsghdr) char buffer[512];
  nlmsghdr* request = put_set_message(link, buffer, NFT_MSG_GETSETELEM, NLM_F_ACK, set);
  nlattr* list = mnl_attr_nest_start(request, NFTA_SET_ELEM_LIST_ELEMENTS);
  nlattr* element = mnl_attr_nest_start(request, NFTA_LIST_ELEM);
  put_key(request, key);
  mnl_attr_nest_end(request, element);
  mnl_attr_nest_end(request, list);
  std::optional<Element> found;
  (void)ask_elements(link, request, [&](const Element& answer) { found = answer; });
  return found;
}

int dump_elements(Nfnetlink& link, PolicySet set, const std::function<void(const Element&)>& take) {
  alignas(nlmsghdr) char buffer[512];
  return ask_elements(link, put_set_message(link, buffer, NFT_MSG_GETSETELEM, NLM_F_DUMP, set),
                      take);
}

}  // namespace webauth
