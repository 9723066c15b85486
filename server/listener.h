// Where clients connect: a socket of the server's own, or one that systemd hands over.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "options.h"
#include "system/descriptor.h"
#include "system/lock_file.h"
#include "system/socket_file.h"

class Listener {
 public:
  static constexpr int kBacklog = 4096;

  // Throws std::runtime_error with the reason when the server can't listen.
  explicit Listener(const Options &options);

  int descriptor() const { return m_file ? m_file->descriptor() : m_passed.get(); }

  // For people to read.
  std::string address() const { return m_file ? m_path : "the socket that systemd passed"; }

  enum class Outcome {
    kAccepted,
    kOnReserve,  // there was no other descriptor left: close the socket before the next call
    kNobodyWaits,
    kFailed,  // somebody waits, but the system has nothing left to accept with
  };
  struct Accepted {
    Outcome outcome;
    Descriptor socket;
  };
  Accepted accept();

  // One that systemd has passed is systemd's to watch.
  SocketFile::State state() const { return m_file ? m_file->state() : SocketFile::State::kThere; }

  // Makes the socket again: its descriptor changes. Throws std::runtime_error when it can't be made; the old one stays.
  void renew();

 private:
  const std::string m_path;
  const SocketFile::Rights m_rights;
  Descriptor m_passed;             // by systemd, which keeps its file
  std::optional<LockFile> m_lock;  // for the file
  std::unique_ptr<SocketFile> m_file;
  Descriptor m_reserve;  // given up to accept a connection when there is no other descriptor left
};
