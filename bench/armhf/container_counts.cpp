// The works with content values and with a plain map, by turns, between marks by which bench_armhf finds them in what
// the emulator writes. Executed on 32-bit Arm.
#include <unistd.h>

#include <functional>
#include <memory>
#include <string_view>

#include "counts.h"
#include "process/plain_container.h"
#include "support/owners.h"

namespace {

// Not buffered: the emulator writes to the same place.
void mark(std::string_view text) {
  if (write(STDERR_FILENO, text.data(), text.size()) < 0) _exit(1);
}

void count(const std::function<void()> &work) {
  for (int i = 0; i < kTimes; ++i)  // what is done once
    work();
  mark("begin\n");
  for (int i = 0; i < kTimes; ++i)
    work();
  mark("end\n");
}

}  // namespace

// In the order of kContainerWorks.
int main() {
  const ContentValues content(orv_db_get_content_values());
  PlainContainer map;
  count([] { fill(ContentValues(orv_db_get_content_values()).get()); });
  count([] { fill(*std::make_unique<PlainContainer>()); });
  count([&] {
    orv_db_content_clear(content.get());
    fill(content.get());
  });
  count([&] {
    map.clear();
    fill(map);
  });
  count([&] { fill(content.get()); });
  count([&] { fill(map); });
  return 0;
}
