// Where and when it was measured.
#pragma once

#include <string>
#include <vector>

std::vector<std::string> describeMachine();
