// What a program may do inside a callback, and what a program that it executes gets.
#include <array>
#include <cstdio>

#include "support/wait.h"
#include "writing_test.h"

namespace {

class DatabaseInsideCallback : public WritingTest {};
class HandleOfAProgramThatExecutesAnother : public WritingTest {};

void copyRow(const char *, const char *, _orv_db_action_t, unsigned long long row, void *handle) {
  EXPECT_EQ(insertRow(*static_cast<Handle *>(handle), "u", static_cast<int>(row)), 0) << orv_db_get_error_str();
}

// The sockets that a program executed by this process finds open.
int inheritedSockets() {
  const std::unique_ptr<FILE, int (*)(FILE *)> list(popen("ls -l /proc/self/fd", "r"), pclose);
  int sockets = 0;
  std::array<char, 1024> line{};
  while (std::fgets(line.data(), line.size(), list.get()) != nullptr) {
    if (std::string(line.data()).find("socket:") != std::string::npos) ++sockets;
  }
  return sockets;
}

}  // namespace

TEST_F(DatabaseInsideCallback, MayBeWrittenTo) {
  ASSERT_EQ(orv_db_register_callback(db(), "t", ORV_DB_ACTION_INSERT, &handle_, 0, copyRow), 0);
  peer_.sendChange(0, db(), "t", ORV_DB_ACTION_INSERT, 7);
  EXPECT_TRUE(waitUntil([&] { return rowCount("u") == "1"; }));
  EXPECT_EQ(admin().value("SELECT value FROM u"), "7");
  EXPECT_EQ(orv_db_cancel_callback(db(), "t", ORV_DB_ACTION_INSERT), 0);
}

TEST_F(HandleOfAProgramThatExecutesAnother, IsOpenThereToo) {
  const int before = inheritedSockets();
  const Handle another = openHandle(*this);
  EXPECT_EQ(inheritedSockets(), before + 1);
}
