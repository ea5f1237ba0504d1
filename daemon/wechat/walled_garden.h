// The hosts that a visitor's phone must reach before login in WEIXIN mode: names and addresses that
// are told to the kernel module once, at start-up.
//
// Resolution is synchronous and the name file's lock is waited for. What cannot be resolved or sent
// is left out without a word. Nothing here ends the process.
#pragma once

#include <array>
#include <cstdint>

#include "daemon/wechat/garden_name.h"

namespace webauth {

/// A host of the WeChat service.
struct WechatHost {
  const char* host;      ///< null in the end mark
  std::uint32_t pushed;  ///< 1 once an address of it has been sent
};

/// The count at which hosts are tried again: the table with its end mark.
inline constexpr int GARDEN_RETRY_COUNT = 14;

/// The table, up to a record whose `host` is null.
extern std::array<WechatHost, GARDEN_RETRY_COUNT> wechat_hosts;

/// The whole sequence: the names of the file, then name and addresses of each host of the table,
/// then once more the addresses of those that had none.
void wechat_garden_push();

/// Sends a name message for each line of the file that ends in a line feed and is at most 1023
/// characters long; the first that does not ends the reading. Returns 0.
int load_garden_name_file(const char* path);

/// Sends the name message of a host; nothing when the name cannot be encoded or does not fit.
void push_garden_name(const char* host);

/// Resolves a host and sends one message per address. Returns how many.
int push_garden_addresses(const char* host);

/// The same for a record of the table, whose `pushed` it sets.
int push_garden_host(WechatHost& host);

/// Tries those hosts again that had no address. Does nothing unless `count` is GARDEN_RETRY_COUNT.
void retry_garden_hosts(int count);

}  // namespace webauth
