// Texts as a terminal shows them. All are taken for UTF-8.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

bool isUtf8(std::string_view bytes);

// "00ff"
std::string hexDigits(std::string_view bytes);

// As it can be shown on one line: control characters as "\n" or "\x1b", and what is not UTF-8 as "0x00ff".
std::string printable(std::string_view bytes);

// The same for a message, of which some bytes may be no UTF-8, such as the last where it was cut: they alone are
// escaped.
std::string printableMessage(std::string_view text);

// Columns that a printable text takes.
std::size_t displayWidth(std::string_view text);

// What fits into so many columns, 1 at least, with "…" where something is left out.
std::string cutToWidth(const std::string &text, std::size_t width);

// "1 row", "2 rows"
std::string counted(unsigned long long number, const std::string &thing);
