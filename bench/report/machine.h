// Where and when it was measured, as one line of text.
#pragma once

#include <string>

std::string describeMachine();
