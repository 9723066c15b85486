// The USB ID database: who makes USB devices, and which.
#pragma once

#include <cstdint>
#include <istream>
#include <string>
#include <vector>

struct UsbDevice {
  std::uint16_t code;
  std::string name;  // UTF-8
};

struct UsbVendor {
  std::uint16_t code;
  std::string name;  // UTF-8
  std::vector<UsbDevice> devices;
};

// Reads vendors and devices and leaves out the file's other sections. A line that is not UTF-8 is taken for Latin-1, as
// older editions of the file are.
std::vector<UsbVendor> readUsbIds(std::istream &file);
