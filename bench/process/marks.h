// Marks around what is counted in a program. Callgrind and the emulator's log know these functions by their names.
#pragma once

extern "C" {
void count_begins();
void count_ends();
}
