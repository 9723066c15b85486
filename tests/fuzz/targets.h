// What is fuzzed. Both throw when the server breaks a promise.
#pragma once

#include <cstddef>
#include <cstdint>

// The bytes of one connection, in pieces, while another one listens and announces.
void playStream(const std::uint8_t *data, std::size_t size);

// What several connections do, how much their sockets take, and the order in which they are served.
void playEvents(const std::uint8_t *data, std::size_t size);
