#include "fault/proxy/positions.h"

#include <algorithm>
#include <set>

namespace {

constexpr std::size_t kHeader = 4;
constexpr std::size_t kFirst = 2048;
constexpr std::size_t kSpread = 500;

std::size_t byteAt(const std::string &bytes, std::size_t place) { return static_cast<unsigned char>(bytes[place]); }

}  // namespace

std::vector<std::size_t> packetEnds(const std::string &bytes) {
  std::vector<std::size_t> ends;
  std::size_t place = 0;
  while (place + kHeader <= bytes.size()) {
    place += kHeader + byteAt(bytes, place) + (byteAt(bytes, place + 1) << 8) + (byteAt(bytes, place + 2) << 16);
    ends.push_back(place);
  }
  return ends;
}

std::vector<std::size_t> breakingPoints(const std::string &bytes) {
  std::set<std::size_t> points;
  for (std::size_t point = 0; point <= std::min(kFirst, bytes.size()); ++point)
    points.insert(point);
  for (const std::size_t end : packetEnds(bytes))
    points.insert({end - 1, end, std::min(end + 1, bytes.size())});
  for (std::size_t i = 1; i <= kSpread; ++i)
    points.insert(bytes.size() * i / kSpread);
  return {points.begin(), points.end()};
}

std::vector<std::size_t> thinned(const std::vector<std::size_t> &all, std::size_t most) {
  if (all.size() <= most) return all;
  std::vector<std::size_t> some;
  for (std::size_t i = 0; i < most; ++i)
    some.push_back(all[i * (all.size() - 1) / (most - 1)]);
  return some;
}
