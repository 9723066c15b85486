#include "examples/demo/usb_ids.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

namespace {

std::vector<UsbVendor> read(const std::string &text) {
  std::istringstream file(text);
  return readUsbIds(file);
}

TEST(UsbIds, DevicesBelongToTheVendorAboveThem) {
  const auto vendors = read("0001  First\n\t000a  One\n\tffff  Two\nfffe  Second\n\t0001  Three\n");
  ASSERT_EQ(vendors.size(), 2U);
  EXPECT_EQ(vendors[0].code, 1);
  EXPECT_EQ(vendors[0].name, "First");
  ASSERT_EQ(vendors[0].devices.size(), 2U);
  EXPECT_EQ(vendors[0].devices[0].code, 0x000a);
  EXPECT_EQ(vendors[0].devices[0].name, "One");
  EXPECT_EQ(vendors[0].devices[1].code, 0xffff);
  EXPECT_EQ(vendors[1].code, 0xfffe);
  ASSERT_EQ(vendors[1].devices.size(), 1U);
  EXPECT_EQ(vendors[1].devices[0].name, "Three");
}

TEST(UsbIds, CommentsBlankLinesAndInterfacesAreLeftOut) {
  const auto vendors = read("# head\n\n0001  First\n# between\n\t0002  Device\n\t\t0003  Interface\n\n\t0004  Next\n");
  ASSERT_EQ(vendors.size(), 1U);
  ASSERT_EQ(vendors[0].devices.size(), 2U);
  EXPECT_EQ(vendors[0].devices[0].name, "Device");
  EXPECT_EQ(vendors[0].devices[1].name, "Next");
}

TEST(UsbIds, OtherSectionsAreLeftOutWithTheirLines) {
  const auto vendors = read("0001  First\nC 03  Class\n\t0001  looks like a device\nL 0009  English\n\t01  US\n");
  ASSERT_EQ(vendors.size(), 1U);
  EXPECT_TRUE(vendors[0].devices.empty());
}

TEST(UsbIds, Utf8IsKeptAndLatin1IsConverted) {
  const auto vendors = read("0001  M\xc3\xbcller\n0002  M\xfcller\n");
  ASSERT_EQ(vendors.size(), 2U);
  EXPECT_EQ(vendors[0].name, "M\u00fcller");
  EXPECT_EQ(vendors[1].name, "M\u00fcller");
}

TEST(UsbIds, DebiansFileHasThousandsOfVendorsAndDevices) {
  std::ifstream file("/usr/share/misc/usb.ids");
  const auto vendors = readUsbIds(file);
  std::size_t devices = 0;
  for (const UsbVendor &vendor : vendors) {
    devices += vendor.devices.size();
  }
  EXPECT_GT(vendors.size(), 3000U);
  EXPECT_GT(devices, 15000U);
  EXPECT_EQ(vendors.front().code, 0x0001);
}

}  // namespace
