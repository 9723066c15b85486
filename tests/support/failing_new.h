// Replaces operator new and delete of the executable, so that allocations fail on demand. Compiled into an executable
// of its own kind only: whoever adds failing_new.cpp says which allocations fail.
#pragma once

// Is this allocation to fail? Called for each one, on the thread that makes it.
bool allocationFails() noexcept;
