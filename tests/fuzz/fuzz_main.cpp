// A target as libFuzzer calls it: an exception that leaves it ends the process, and libFuzzer keeps the input.
#include "fuzz/targets.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  ORVDB_FUZZ_TARGET(data, size);
  return 0;
}
