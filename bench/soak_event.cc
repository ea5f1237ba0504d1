#include "bench/soak_event.h"

#include <cstring>

#include "bench/soak_model.h"
#include "bench/soak_record.h"

namespace webauth {
namespace {

// Beyond these, whoever would come goes instead.
constexpr std::size_t MOST_SESSIONS = 300;
constexpr std::size_t MOST_ACCOUNTS = 300;
constexpr std::size_t LONGEST_GARBAGE = 420;

struct Share {
  Kind kind;
  const char* name;
  Channel channel;
  std::size_t weight;
};

constexpr Share SHARES[KIND_COUNT] = {
    {Kind::LOGIN, "login", Channel::LOGIN, 300},
    {Kind::ODD_LOGIN, "odd login", Channel::LOGIN, 40},
    {Kind::LOGIN_GARBAGE, "login garbage", Channel::LOGIN, 60},
    {Kind::ONLINE, "online", Channel::KERNEL, 80},
    {Kind::OFFLINE, "offline", Channel::KERNEL, 150},
    {Kind::CHECK_EXPIRY, "check expiry", Channel::KERNEL, 60},
    {Kind::KERNEL_GARBAGE, "kernel garbage", Channel::KERNEL, 50},
    {Kind::CUT, "cut", Channel::CONTROL, 60},
    {Kind::ADD_ACCOUNT, "add account", Channel::CONTROL, 60},
    {Kind::DELETE_ACCOUNT, "delete account", Channel::CONTROL, 45},
    {Kind::ALLOW_MAC, "allow MAC", Channel::CONTROL, 25},
    {Kind::WITHDRAW_MAC, "withdraw MAC", Channel::CONTROL, 25},
    {Kind::CONTROL_GARBAGE, "control garbage", Channel::CONTROL, 45},
};

bool is_garbage(const Share& share) { return std::strstr(share.name, "garbage") != nullptr; }

// Random bytes, with a type or command word that means something now and then.
std::string make_noise(Generator& generator, std::size_t length, std::size_t word_at) {
  std::string bytes(length, '\0');
  for (char& byte : bytes) byte = static_cast<char>(generator.random());
  const auto word = static_cast<std::uint32_t>(below(generator, 12));
  if (length >= word_at + sizeof word && below(generator, 4) != 0) {
    std::memcpy(bytes.data() + word_at, &word, sizeof word);
  }
  return bytes;
}

// Whoever would come although there are too many goes.
Kind within_bounds(Kind kind, const Model& model) {
  const bool arrives = kind == Kind::LOGIN || kind == Kind::ODD_LOGIN || kind == Kind::ONLINE;
  if (arrives && model.sessions.size() > MOST_SESSIONS) return Kind::CUT;
  if (kind == Kind::ADD_ACCOUNT && model.accounts.size() > MOST_ACCOUNTS) {
    return Kind::DELETE_ACCOUNT;
  }
  return kind;
}

const Share& any_share(Generator& generator, const Model& model) {
  for (;;) {
    std::size_t left = below(generator, 1000);
    for (const Share& share : SHARES) {
      if (left >= share.weight) {
        left -= share.weight;
        continue;
      }
      const auto wanted = static_cast<std::size_t>(within_bounds(share.kind, model));
      if (generator.garbage || !is_garbage(SHARES[wanted])) {
        return SHARES[wanted];
      }
      break;
    }
  }
}

// Half of it is a record of the channel, cut or lengthened.
std::string make_garbage(Generator& generator, const Model& model, const Share& share) {
  // netlink takes no empty datagram
  const std::size_t shortest = share.channel == Channel::KERNEL ? 1 : 0;
  std::size_t& turn = generator.garbage_length[static_cast<std::size_t>(share.kind)];
  const std::size_t length = shortest + turn++ / 2 % LONGEST_GARBAGE;
  std::string noise = make_noise(generator, length, share.channel == Channel::KERNEL ? 20 : 0);
  if (turn % 2 == 0) return noise;
  const Share* whole = nullptr;
  do {
    whole = &SHARES[below(generator, KIND_COUNT)];
  } while (whole->channel != share.channel || whole->kind == share.kind);
  const std::string record =
      make_record(generator, model, within_bounds(whole->kind, model)).substr(0, length);
  return record + noise.substr(record.size());
}

}  // namespace

const char* name_of(Kind kind) { return SHARES[static_cast<std::size_t>(kind)].name; }

std::vector<Event> next_batch(Generator& generator, const Model& model) {
  const std::size_t most = 1 + below(generator, 4);
  const Share* share = &any_share(generator, model);
  const Channel channel = share->channel;
  std::vector<Event> batch;
  for (int tries = 0; tries < 8 && batch.size() < most; ++tries) {
    if (share->channel == channel) {
      std::string bytes = is_garbage(*share) ? make_garbage(generator, model, *share)
                                             : make_record(generator, model, share->kind);
      batch.push_back({share->kind, channel, std::move(bytes)});
    }
    share = &any_share(generator, model);
  }
  if (batch.size() == 1 && channel == Channel::LOGIN) {
    const std::size_t way = below(generator, 20);
    if (way <= 2) batch.front().manner = way == 0 ? Manner::GONE : Manner::SLOW;
  }
  return batch;
}

}  // namespace webauth
