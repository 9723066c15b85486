// What kind of statement an SQL text is.
#pragma once

#include <string>
#include <string_view>

// Its first word in lower case, behind comments and brackets; empty when there is none.
std::string firstWord(std::string_view sql);
