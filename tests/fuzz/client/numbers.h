// A text as the numbers that the ten getters make of it.
#pragma once

#include <string>

// The bits of each number in hexadecimal, from the narrowest signed integer to the double.
using NumberTexts = std::string;

// By the rules of the target, whose long has 32 bits: a program that was built for it is asked. Null but in the fuzzer;
// elsewhere a model of those rules is all that the getters are compared with.
extern NumberTexts (*numbersOnTarget)(const std::string &text);

NumberTexts modelledNumbers(const std::string &text);
