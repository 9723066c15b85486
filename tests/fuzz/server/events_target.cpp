// The first byte chooses the limits, the others the moves.
#include "fuzz/targets.h"
#include "server/model/player.h"

void playEvents(const std::uint8_t *data, std::size_t size) {
  if (size < 1) return;
  const std::uint8_t *next = data + 1;
  const std::uint8_t *const end = data + size;
  World world(setups()[data[0] % setups().size()].setup);
  Player player(world, [&](std::size_t count) {
    std::size_t number = next != end ? *next++ : 0;
    if (count > 256 && next != end) number = number * 256 + *next++;
    return number % count;
  });
  while (next != end)
    player.move();
  world.settle();
}
