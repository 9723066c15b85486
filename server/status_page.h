// Answers each connection to its socket with one document and closes it.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>

#include "forwarding/byte_queue.h"
#include "system/clock.h"
#include "system/event_poll.h"
#include "system/socket_file.h"

class StatusPage {
 public:
  using Document = std::function<std::string()>;

  // An empty path: no page. Throws std::runtime_error when the socket can't be made.
  StatusPage(const std::string &path, mode_t mode, Document document);

  // Readable when there is something to do.
  int descriptor() const { return m_poll.descriptor(); }

  // Serves those who wait, and those who have not taken all of their document yet.
  void serve();
  // Tries again what failed for want of descriptors, and ends readers that do not read. To be called now and then.
  void tick();

 private:
  struct Reader {
    Descriptor socket;
    ByteQueue unsent;
    Clock::time_point begin;
  };
  static constexpr std::chrono::seconds kPatience{10};  // with one that does not read
  static constexpr std::size_t kMostReaders = 16;       // at a time; the next one is closed without an answer

  void accept();
  // False when the reader has it all, or is gone.
  static bool send(Reader &reader);

  const Document m_document;
  EventPoll m_poll;
  std::optional<SocketFile> m_file;
  bool m_isPaused = false;
  std::map<std::uint64_t, Reader> m_readers;
  std::uint64_t m_nextReader = EventPoll::kFirstConnection;
};
