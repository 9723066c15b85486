// What the parent of a fork storm hears: numbered announcements of another process, and the rows of the children.
//
// A callback allocates nothing, so that it may run while its process is forked.
#pragma once

#include <orvdb_client.h>

#include <atomic>
#include <string>
#include <vector>

#include "support/child_program.h"

class CountedChanges {
 public:
  // Registers for both; the other process begins to announce.
  CountedChanges(const std::string &db, int mostChildren);

  // The callback for the next numbered announcement does this, once.
  void onNext(void (*task)(void *), void *data);

  // The other process ends. Everything that it announced has been heard, in its order, and so has each child's row.
  // Gives how many announcements there were.
  unsigned long long finish(const std::vector<unsigned long long> &childrensRows);

 private:
  static void hearNumber(const char *db, const char *table, _orv_db_action_t action, unsigned long long row, void *me);
  static void hearChild(const char *db, const char *table, _orv_db_action_t action, unsigned long long row, void *me);

  std::atomic<unsigned long long> last_{0};
  std::atomic<unsigned long long> outOfOrder_{0};
  std::vector<std::atomic<int>> heardOfRow_;
  std::atomic<int> heardOfChildren_{0};
  std::atomic<void (*)(void *)> task_{nullptr};
  std::atomic<void *> data_{nullptr};
  ChildProgram announcer_;
};
