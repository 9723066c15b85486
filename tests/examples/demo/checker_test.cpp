// The checker lets nothing pass that is not exactly what was written.
#include <functional>

#include "examples/demo/demo_fixture.h"

namespace {

using Lines = std::vector<std::string>;

class Checker : public DemoTest {
 protected:
  // Without reminders, so that every line of the log counts.
  Checker() : DemoTest({"--resync=never"}) { load(writeSmallUsbIds()); }

  // The true log passes, and each changed one fails: at its beginning, in the middle and at its end.
  void expectFailure(const std::function<void(Lines &, std::size_t)> &change) {
    const Lines heard = log();
    ASSERT_TRUE(check()) << verdict();
    for (const std::size_t position : {std::size_t{1}, heard.size() / 2, heard.size() - 1}) {
      Lines changed = heard;
      change(changed, position);
      expectWrong(changed);
    }
    replaceLog(heard);
    EXPECT_TRUE(check()) << verdict();
  }

  void expectWrong(const Lines &lines) {
    replaceLog(lines);
    EXPECT_FALSE(check()) << verdict();
    EXPECT_NE(verdict().find("changes heard: WRONG"), std::string::npos) << verdict();
  }

  void expectFailureAfter(const std::string &statement) {
    ASSERT_TRUE(check()) << verdict();
    admin().query(statement);
    EXPECT_FALSE(check());
    EXPECT_NE(verdict().find("rows in the database: WRONG"), std::string::npos) << verdict();
  }
};

auto at(Lines &lines, std::size_t position) { return lines.begin() + static_cast<Lines::difference_type>(position); }

// Of a server that has come up lately; they may come at any moment.
TEST_F(Checker, LogWithTheServersRemindersPasses) {
  Lines heard = log();
  for (const std::size_t position : {std::size_t{1}, heard.size() / 2, heard.size()}) {
    for (const char *reminder : {"vendors insert 0", "devices update 0", "load_finished delete 0"})
      heard.insert(at(heard, position), reminder);
  }
  replaceLog(heard);
  EXPECT_TRUE(check()) << verdict();
}

TEST_F(Checker, LogWithALineRemovedFails) {
  expectFailure([](Lines &lines, std::size_t position) { lines.erase(at(lines, position)); });
}

TEST_F(Checker, LogWithALineDoubledFails) {
  expectFailure([](Lines &lines, std::size_t position) {
    const std::string line = lines[position];
    lines.insert(at(lines, position), line);
  });
}

TEST_F(Checker, LogWithALineAlteredFails) {
  expectFailure([](Lines &lines, std::size_t position) { lines[position].back() = '~'; });
}

TEST_F(Checker, LogWithTwoLinesSwappedFails) {
  expectFailure([](Lines &lines, std::size_t position) {
    // Neighbours may be equal: with the first one before that is not.
    std::size_t other = position - 1;
    while (lines[other] == lines[position])
      --other;
    std::swap(lines[other], lines[position]);
  });
}

TEST_F(Checker, EmptyLogFails) {
  ASSERT_TRUE(check()) << verdict();
  replaceLog({});
  EXPECT_FALSE(check());
}

TEST_F(Checker, AlteredRowFails) { expectFailureAfter("UPDATE devices SET name = CONCAT(name, '.') WHERE _id = 7"); }

TEST_F(Checker, AlteredNumberFails) { expectFailureAfter("UPDATE vendors SET code = code + 1 WHERE _id = 7"); }

TEST_F(Checker, MissingRowFails) { expectFailureAfter("DELETE FROM vendors WHERE _id = 7"); }

TEST_F(Checker, RowTooManyFails) {
  expectFailureAfter("INSERT INTO devices (vendor_id, code, name) VALUES (1, 2, 'unheard of')");
}

TEST_F(Checker, EmptiedTableFails) { expectFailureAfter("DELETE FROM devices"); }

}  // namespace
