// The record of the notification protocol. Every message in either direction is one such record, in native byte order,
// without any framing but its fixed size. The notification server includes this header too.
#pragma once

#include <cstddef>
#include <cstdint>

constexpr char kServerSocketPath[] = "/tmp/orvdb_server.sock";

enum message_type : std::uint8_t {
  MSG_REGISTER = 0,  // a client asks for changes; the server's reply has the same type
  MSG_CANCEL = 1,    // a client asks for them no longer
  MSG_CHANGE = 2,    // a table has changed
};

// `status` of a record: clients send 0, and so does the server with a change.
constexpr std::uint8_t kStatusPlain = 0;
constexpr std::uint8_t kStatusAccepted = 1;  // in the server's reply to a registration

// Room for a name with its NUL: longer names are cut to 63 characters.
constexpr std::size_t kNameFieldSize = 64;

struct [[gnu::packed]] _ORV_DB_MESSAGE {
  std::uint8_t type;
  std::uint8_t status;
  std::uint8_t reserved;
  std::uint8_t padding;
  char db[kNameFieldSize];
  char table[kNameFieldSize];
  std::uint8_t action;
  union [[gnu::packed]] {
    std::uint64_t rowId;  // of a change; 0 in a cancellation
    std::uint8_t flag;    // of a registration, the bytes behind it being 0
  };
};

constexpr std::size_t kRecordSize = sizeof(_ORV_DB_MESSAGE);
static_assert(kRecordSize == 141, "the record's size is part of the protocol");
static_assert(offsetof(_ORV_DB_MESSAGE, type) == 0);
static_assert(offsetof(_ORV_DB_MESSAGE, status) == 1);
static_assert(offsetof(_ORV_DB_MESSAGE, reserved) == 2);
static_assert(offsetof(_ORV_DB_MESSAGE, padding) == 3);
static_assert(offsetof(_ORV_DB_MESSAGE, db) == 4);
static_assert(offsetof(_ORV_DB_MESSAGE, table) == 68);
static_assert(offsetof(_ORV_DB_MESSAGE, action) == 132);
static_assert(offsetof(_ORV_DB_MESSAGE, rowId) == 133);
static_assert(offsetof(_ORV_DB_MESSAGE, flag) == 133);
