// The loop: one thread, one pass over all descriptors after the other.
#pragma once

#include "forwarding/hub.h"
#include "listener.h"
#include "options.h"
#include "status_page.h"
#include "system/clock.h"
#include "system/descriptor.h"
#include "system/event_poll.h"
#include "system/log.h"
#include "system/systemd.h"

class Server {
 public:
  // Throws std::runtime_error when it can't listen.
  Server(const Options &options, Log &log);

  // For people to read.
  std::string address() const { return m_listener.address(); }

  // Returns on SIGTERM or SIGINT, when what is queued has been handed over or a second has passed.
  void run();

 private:
  void watch(int descriptor, EventPoll::Source source);
  void turn(int timeoutMs);
  void dispatch(const epoll_event &event);
  void drain();

  void acceptWaiting();
  const char *reasonToRefuse(const Peer &peer) const;
  bool isAllowed(const Peer &peer) const;
  void refuse(Descriptor socket, const Peer &peer, const char *reason);
  void pauseAccepting();
  void resumeAccepting();

  void readSignals();
  void tick();
  void tellSystemd();
  void watchListener();
  void renewListener();

  const Options m_options;
  Log &m_log;
  const Descriptor m_signals;  // before the listener, whose file no signal may leave behind
  const Descriptor m_timer;
  EventPoll m_poll;
  Listener m_listener;
  const Clock::time_point m_start;
  Hub m_hub;
  StatusPage m_status;
  const SystemdNotifier m_systemd;
  const bool m_hasWatchdog;
  bool m_isReadyTold = false;
  bool m_isPaused = false;  // nothing is accepted until the next tick
  bool m_isStopping = false;
};
