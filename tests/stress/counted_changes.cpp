#include "stress/counted_changes.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include <iostream>
#include <stdexcept>

#include "stress/tables.h"

namespace {

constexpr std::chrono::milliseconds kPause{1};

// Until its input ends. Prints how many.
CHILD_PROGRAM(AnnouncesNumbers) {
  unsigned long long number = 0;
  pollfd input{STDIN_FILENO, POLLIN, 0};
  while (poll(&input, 1, kPause.count()) == 0)
    EXPECT_EQ(orv_db_notify_change(arguments.at(0).c_str(), kCounted, ORV_DB_ACTION_UPDATE, ++number), 0);
  std::cout << number << std::endl;
  return 0;
}

}  // namespace

void CountedChanges::hearNumber(const char *, const char *, _orv_db_action_t, unsigned long long row, void *me) {
  auto &self = *static_cast<CountedChanges *>(me);
  if (row != self.last_ + 1) ++self.outOfOrder_;
  self.last_ = row;
  if (const auto task = self.task_.exchange(nullptr); task != nullptr) task(self.data_);
}

void CountedChanges::hearChild(const char *, const char *, _orv_db_action_t, unsigned long long row, void *me) {
  auto &self = *static_cast<CountedChanges *>(me);
  if (row < self.heardOfRow_.size()) ++self.heardOfRow_[static_cast<std::size_t>(row)];
  ++self.heardOfChildren_;
}

static void mustRegister(const std::string &db, const char *table, _orv_db_action_t action, void *data,
                         orv_db_change_cb callback) {
  if (orv_db_register_callback(db.c_str(), table, action, data, 0, callback) != ORV_DB_OK) {
    throw std::runtime_error(std::string("cannot register for ") + table);
  }
}

// A server gives the first row the id 1.
CountedChanges::CountedChanges(const std::string &db, int mostChildren)
    : heardOfRow_(static_cast<std::size_t>(mostChildren) + 1),
      announcer_((mustRegister(db, kCounted, ORV_DB_ACTION_ALL, this, hearNumber),
                  mustRegister(db, kChildren, ORV_DB_ACTION_INSERT, this, hearChild), AnnouncesNumbers),
                 {db}) {}

void CountedChanges::onNext(void (*task)(void *), void *data) {
  data_ = data;
  task_ = task;
}

unsigned long long CountedChanges::finish(const std::vector<unsigned long long> &childrensRows) {
  announcer_.closeInput();
  EXPECT_EQ(announcer_.wait(), exited(0)) << announcer_.output();
  const unsigned long long announced = std::stoull(announcer_.output());
  EXPECT_TRUE(waitUntil([&] { return last_ >= announced; }));
  EXPECT_EQ(last_, announced);
  EXPECT_EQ(outOfOrder_, 0U);

  EXPECT_TRUE(waitUntil([&] { return heardOfChildren_ >= static_cast<int>(childrensRows.size()); }));
  EXPECT_EQ(heardOfChildren_, static_cast<int>(childrensRows.size()));
  for (const unsigned long long row : childrensRows)
    EXPECT_EQ(heardOfRow_.at(static_cast<std::size_t>(row)), 1) << "times heard of row " << row;
  return announced;
}
