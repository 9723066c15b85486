// The course of one input: what the notification server and the application do, and what the client has to make of it.
// The message loop runs on a thread of its own; what other threads do is done there too, while the loop waits, one
// after the other, so that an input means the same each time.
#pragma once

#include <semaphore.h>
#include <sys/types.h>

#include <cstdint>
#include <ctime>
#include <string>

#include "fuzz/client/receive_model.h"
#include "fuzz/input.h"

class ReceiveSession {
 public:
  ReceiveSession(const std::uint8_t *data, std::size_t size) : m_input(data, size) {}

  // Throws when a promise was broken.
  void run();

  // The one whose loop runs on this thread.
  static ReceiveSession *current() { return s_current; }

  // The system calls of the message loop.
  int poll();
  ssize_t read(char *buffer, std::size_t length);
  ssize_t write(const char *bytes, std::size_t length);
  int sleep(const timespec &pause, timespec *left);
  int connect();
  int wait(sem_t *semaphore);

  void called(const Callback &callback, const char *db, const char *table, int action, std::uint64_t rowId);

 private:
  bool isClosed() const { return m_isClosed || m_input.atEnd(); }
  ssize_t loseConnection(ssize_t result);
  void stop();

  // What the server sends next.
  void serve();
  std::string change();
  std::string reply();
  const std::string &name();
  int action();

  // What the application does.
  void registerOne();
  void cancelOne();
  void notifyOne();

  // An exception may not pass through the client: the first fault ends the loop and is told at the end.
  void mustHold(bool holds, const std::string &what);
  // Of a record that can't be sent, a part may be.
  void mustHaveSent(const std::string &record, int status, int expected);
  int sendingStatus();
  // What holds whenever the client waits.
  void checkQuiet();
  void checkGoesOn() { mustHold(!m_isOver, "the loop has come to its end"); }
  void checkEnd();

  static thread_local ReceiveSession *s_current;

  Input m_input;
  ReceiveModel m_model;
  std::string m_incoming;    // sent by the server, not yet read
  std::string m_sent;        // by the client, not yet checked
  std::string m_sentBefore;  // the same, by a registration that waits now
  std::string m_reply;       // to come while a registration waits
  std::string m_replay;
  std::string m_broken;
  unsigned int m_pause = 1;
  timespec m_left{1, 0};
  bool m_isClosed = false;
  bool m_isOver = false;
  bool m_isDue = false;
  bool m_isReplaying = false;
  bool m_isAnswering = false;
  bool m_isInCallback = false;
  bool m_sendingFails = false;
};
