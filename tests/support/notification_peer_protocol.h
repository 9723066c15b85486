// What NotificationPeer and its process say to each other: one packet of a SOCK_SEQPACKET socket per command and per
// event, a header and then bytes whose meaning the kind decides.
#pragma once

#include <cstddef>
#include <cstdint>

// The process finds its end of the socket here.
constexpr int kPeerControlDescriptor = 0;

enum class PeerCommand : std::uint8_t {
  answer,         // mode, number: delay in milliseconds, bytes: sent together with each reply
  send,           // connection, bytes
  sendInPieces,   // connection, number: length of each piece, bytes
  limitReading,   // connection, number: how many more bytes are read, mode: a PeerLimit
  close,          // connection
  stopListening,  // and remove the socket
  listen,
  synchronise,  // everything that was written or opened or closed before this command is reported before its `done`
};

enum class PeerLimit : std::uint8_t { none, thenStopReading, thenClose };

// Packed: no byte of a packet is left to chance.
struct [[gnu::packed]] PeerCommandHeader {
  PeerCommand command;
  std::uint8_t mode;
  std::int32_t connection;
  std::uint64_t number;
};

enum class PeerEvent : std::uint8_t {
  done,       // a command has been carried out; bytes: the reason if it failed, else nothing
  connected,  // connection, number: process id of the other side
  record,     // connection, bytes: one record
  closed,     // connection, by the other side; bytes: what came after the last whole record
};

struct [[gnu::packed]] PeerEventHeader {
  PeerEvent event;
  std::int32_t connection;
  std::uint64_t number;
};

// Larger than any packet: senders split what they have.
constexpr std::size_t kPeerPacketSize = 65536;
