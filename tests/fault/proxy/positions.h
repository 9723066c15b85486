// Where to break a stream of the database protocol, in which every packet has three bytes of length and one of number
// before it.
#pragma once

#include <string>
#include <vector>

// The counts of bytes behind which a packet ends.
std::vector<std::size_t> packetEnds(const std::string &bytes);

// Each of the first 2,048 counts, each packet's end and one beside it, 500 spread over all, in ascending order.
std::vector<std::size_t> breakingPoints(const std::string &bytes);

// No more than `most` of them, spread evenly, the first and the last among them.
std::vector<std::size_t> thinned(const std::vector<std::size_t> &all, std::size_t most);
