// A notification peer to which the library of this process is connected, as connection 0. The library finds no server
// when the test program is loaded, so it is made to try again.
#pragma once

#include <gtest/gtest.h>
#include <orvdb_client.h>

#include "support/notification_peer.h"

class ConnectedPeer : public NotificationPeer {
 public:
  ConnectedPeer() {
    EXPECT_EQ(orv_db_retry_init(), 0);
    waitForConnection(0);
  }
};
