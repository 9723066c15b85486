// What is fuzzed. Each throws when a promise is broken.
#pragma once

#include <cstddef>
#include <cstdint>

// --- the notification server

// The bytes of one connection, in pieces, while another one listens and announces.
void playStream(const std::uint8_t *data, std::size_t size);

// What several connections do, how much their sockets take, and the order in which they are served.
void playEvents(const std::uint8_t *data, std::size_t size);

// --- the library

// What a notification server sends, in pieces and over several connections, into the message loop, while the
// application registers, cancels and announces.
void playReceive(const std::uint8_t *data, std::size_t size);

// Values as literals of SQL.
void playLiterals(const std::uint8_t *data, std::size_t size);

// Values as parameters of statements, whose text has nothing of them.
void playParameters(const std::uint8_t *data, std::size_t size);

// Texts of a result as numbers.
void playNumbers(const std::uint8_t *data, std::size_t size);

// Values through a real database and back.
void playRoundTrip(const std::uint8_t *data, std::size_t size);
