// The first byte says how long the pieces are in which the rest is written.
#include <string>

#include "fuzz/targets.h"
#include "server/model/world.h"

namespace {

constexpr std::size_t kLongestPiece = 3 * kRecordSize;
constexpr char kTable[] = "t0";

}  // namespace

void playStream(const std::uint8_t *data, std::size_t size) {
  if (size < 1) return;
  World world({});
  const World::Client listener = world.connect();
  world.registerFor(listener, kTable, 0xff, 0);
  world.registerFor(listener, std::string(kNameFieldSize - 1, 'n'), 5, 1);
  world.registerFor(listener, "", 7, 1);
  world.settle();

  const World::Client fuzzed = world.connect();
  world.put(fuzzed, {reinterpret_cast<const char *>(data + 1), size - 1});
  const std::size_t piece = 1 + data[0] * kLongestPiece / 256;
  for (std::size_t written = 0; written < size && world.isOpen(fuzzed); written += piece) {
    world.write(fuzzed, piece);
    world.announce(listener, kTable, 2);
    world.write(listener, kRecordSize);
    world.turn([](std::size_t count) { return count - 1; });
    world.read(fuzzed, std::string::npos);
  }
  world.settle();
}
