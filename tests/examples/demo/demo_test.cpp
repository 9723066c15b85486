// The demo from end to end, with all the data.
#include <algorithm>

#include "examples/demo/demo_fixture.h"

namespace {

class Demo : public DemoTest {
 protected:
  long countOf(const std::string &line) const {
    const std::vector<std::string> lines = log();
    return std::count(lines.begin(), lines.end(), line);
  }
};

TEST_F(Demo, WatcherHearsAndDatabaseHoldsExactlyWhatTheLoaderWrote) {
  load("/usr/share/misc/usb.ids");
  EXPECT_TRUE(check()) << verdict();
  // That the journal is no empty one: the commits of 500 rows each, and changes one by one.
  EXPECT_GT(std::stol(admin().value("SELECT COUNT(*) FROM devices")), 15000);
  EXPECT_GT(std::stol(admin().value("SELECT COUNT(*) FROM vendors")), 3000);
  EXPECT_GE(countOf("vendors all 0"), 15000 / 500);
  EXPECT_GE(countOf("devices delete 18446744073709551615"), 15000 / 60);
  EXPECT_EQ(countOf("devices update 40"), 1);
  EXPECT_EQ(countOf("load_finished all 0"), 1);
}

TEST_F(Demo, TextBeyondTheBasicPlaneIsStoredAsItIs) {
  load(writeSmallUsbIds());
  EXPECT_EQ(admin().value("SELECT COUNT(*) FROM vendors WHERE name LIKE CONCAT('%', x'F09F948C', '%')"), "100");
}

}  // namespace
