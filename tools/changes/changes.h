// Changes: the names of their actions, and how they are announced.
#pragma once

#include <string>
#include <vector>

constexpr unsigned long long kWholeTable = 0;
constexpr unsigned long long kUnknownRow = ~0ULL;

// A mask of "insert", "update", "delete", separated by commas, or "all". Throws WrongUsage.
unsigned int parseActions(const std::string &names);

// "insert", "update", "delete", as far as they are in the mask.
std::vector<std::string> actionNames(unsigned int actions);

// Longer names are cut on their way, so nobody would ever hear of them. Throws WrongUsage.
void checkName(const std::string &kind, const std::string &name);

// Throws a Failure when it could not be sent.
void announce(const std::string &database, const std::string &table, unsigned int actions, unsigned long long rowId);
