// The life of a notification client, in which one system call goes wrong: it starts, registers, cancels, announces,
// hears of a change, loses its connection and has it again. Each step is checked against what the fault may bring
// about, and repeated where it failed: then it works.
#pragma once

#include <string>

#include "event_mgr_access.h"
#include "event_support.h"
#include "fault/system_calls/faults.h"

class Life {
 public:
  // The `nth` call that the fault is about goes wrong.
  Life(const Fault &fault, int nth);

  void live();

 private:
  // What a fault does to the step that it falls into.
  struct Effect {
    int start;
    int registration;
    int sending;
  };

  void start();
  void registerTable(const std::string &table);
  void cancelTable(const std::string &table);
  void announce();
  void hearOfAChange();
  void loseConnection();
  void expectNothingLeftOver() const;

  template <class Call>
  void call(Call call, int statusAtFault);
  int registration(const std::string &table);
  bool changeArrives();
  void settle() const;
  bool isReconnected(int connection);
  void awaitConnection(int connection);
  void recover();
  bool fallsHere();

  const Fault fault_;
  const Effect effect_;
  const bool cutsStream_;  // a record that is written in part leaves the server out of step
  bool fallen_ = false;    // in an earlier step
  bool ended_ = false;
  int connection_ = 0;
  unsigned long long rowId_ = 0;
  NotificationPeer peer_;
  std::vector<PeerRecord> heard_;
  std::size_t descriptorsBefore_;
};

std::size_t openDescriptors();
