// orvdb status: what the notification server says of itself.
#pragma once

#include <string>

struct StatusOptions {
  std::string socket = "/run/orvdb/status.sock";
  bool isJson = false;
};

int status(const StatusOptions &options);
