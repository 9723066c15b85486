// What can go wrong in the system calls of the notification client, and what comes of it.
#pragma once

#include <string>
#include <vector>

constexpr int kWholly = -1;

// What one call does in place of what it is asked for.
struct Fault {
  const char *call;
  const char *name;
  enum Consequence {
    unnoticed,
    startFails,        // where it falls into the start; an attempt to reconnect is repeated
    sendingFails,      // of the one record that is being written; a replay stops there
    connectionIsLost,  // and made anew, with all registrations
    waitEnds,          // of a registration for its reply
    threadEnds,        // for good
    exitWaitsInVain,   // for the message thread
  } consequence;
  int error = 0;         // that it fails with
  int bytes = kWholly;   // how many it reads or writes; with an error, it is the next call that fails
  bool forGood = false;  // so does every later one
  int occurrences = 0;   // how many of the first ones have this consequence, the others none; 0: all have
};

const std::vector<Fault> &faults();

// For the name of a test.
std::string nameOf(const Fault &fault);
