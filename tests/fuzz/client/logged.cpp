#include "fuzz/client/logged.h"

#include <utility>

namespace {

std::string s_text;

}  // namespace

std::string takeLoggedText() { return std::exchange(s_text, ""); }

// db_api_process_info(const char *), as the linker knows it.
extern "C" void __wrap__Z19db_api_process_infoPKc(const char *text) { s_text = text; }
