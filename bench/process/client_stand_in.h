// While one lives, the client library's statements succeed without doing anything, for the library and for the plain
// code beside it.
#pragma once

class ClientStandIn {
 public:
  ClientStandIn();
  ~ClientStandIn();
  ClientStandIn(const ClientStandIn &) = delete;
  ClientStandIn &operator=(const ClientStandIn &) = delete;
};
