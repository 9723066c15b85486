// A target as libFuzzer calls it: an exception that leaves it ends the process, and libFuzzer keeps the input.
#include <cstdio>
#include <cstdlib>

#include "fuzz/targets.h"
#include "support/private_root.h"

// The library connects as soon as it is loaded, and what it is made to announce is not for the machine's programs.
extern "C" int LLVMFuzzerInitialize(int *, char ***arguments) {
  if (inPrivateRoot()) return 0;
  std::fprintf(stderr, "%s: runs only under private_root, see script/fuzz\n", **arguments);
  std::_Exit(1);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  ORVDB_FUZZ_TARGET(data, size);
  return 0;
}
