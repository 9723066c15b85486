#include "support/emulator.h"

#include <regex>
#include <string_view>

namespace {

constexpr std::string_view kEmulator = ORVDB_TEST_EMULATOR;

}  // namespace

std::vector<std::string> emulatorWords() {
  if (kEmulator.empty()) return {};
  return {std::string(kEmulator)};
}

std::string withoutEmulatorsLines(const std::string &output) {
  static const std::regex line("qemu: uncaught target signal [^\n]*\n");
  return kEmulator.empty() ? output : std::regex_replace(output, line, "");
}
