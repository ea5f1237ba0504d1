#include "portal/connection_policy.h"

#include <algorithm>
#include <tuple>

namespace webauth {
namespace {

// The lower, the sooner given up; none is never.
std::optional<int> rank_of(Stage stage) {
  switch (stage) {
    case Stage::ANSWERED:
      return 0;
    case Stage::ANSWERING:
      return 1;
    case Stage::ASKING:
      return 2;
    default:
      return {};
  }
}

// The first to go among the places that `counts` counts.
template <typename Counts>
std::optional<std::size_t> find_first(std::span<const Place> places, std::uint32_t ip,
                                      Counts counts) {
  std::optional<std::size_t> first;
  std::tuple<int, bool, std::uint64_t> first_key;
  for (std::size_t i = 0; i < places.size(); ++i) {
    const auto rank = rank_of(places[i].stage);
    if (!rank || !counts(places[i])) continue;
    const std::tuple key(*rank, places[i].ip != ip, places[i].order);
    if (first && first_key < key) continue;
    first = i;
    first_key = key;
  }
  return first;
}

}  // namespace

Admission admit(std::span<const Place> places, const ConnectionBounds& bounds, std::uint32_t ip,
                bool tls) {
  const auto is_taken = [](const Place& place) { return place.stage != Stage::FREE; };
  const auto is_own = [&](const Place& place) { return is_taken(place) && place.ip == ip; };
  const auto is_tls = [&](const Place& place) { return is_taken(place) && place.tls; };
  const auto count = [&](auto counts) {
    return static_cast<std::size_t>(std::count_if(places.begin(), places.end(), counts));
  };
  if (count(is_own) >= bounds.per_address) return {true, find_first(places, ip, is_own)};
  if (tls && count(is_tls) >= bounds.tls) return {true, find_first(places, ip, is_tls)};
  if (count(is_taken) >= bounds.all) return {true, find_victim(places, ip)};
  return {};
}

std::optional<std::size_t> find_victim(std::span<const Place> places, std::uint32_t ip) {
  return find_first(places, ip, [](const Place&) { return true; });
}

}  // namespace webauth
