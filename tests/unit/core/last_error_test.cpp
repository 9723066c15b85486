#include "core/last_error.h"

#include <gtest/gtest.h>
#include <orvdb_client.h>

#include <string>
#include <thread>

TEST(LastErrorText, IsTheBufferItselfAndNotACopy) {
  EXPECT_EQ(orv_db_get_error_str(), s_szErrorStr);
  setLastError("first");
  const char *text = orv_db_get_error_str();
  EXPECT_STREQ(text, "first");
  setLastError("second");
  EXPECT_STREQ(text, "second");
}

TEST(LastErrorText, Keeps127CharactersWhole) {
  const std::string text(127, 'x');
  setLastError(text.c_str());
  EXPECT_EQ(orv_db_get_error_str(), text);
}

TEST(LastErrorText, IsCutAt127CharactersAndTerminated) {
  setLastError((std::string(127, 'x') + "yz").c_str());
  EXPECT_EQ(orv_db_get_error_str(), std::string(127, 'x'));
  EXPECT_EQ(s_szErrorStr[kErrorTextSize - 1], '\0');
}

TEST(LastErrorText, BecomesEmptyWhenTheClientLibraryHasNoText) {
  setLastError("text");
  setLastError(nullptr);
  EXPECT_STREQ(orv_db_get_error_str(), "");
}

TEST(LastErrorText, ClearingMakesItEmpty) {
  setLastError("text");
  clearLastError();
  EXPECT_STREQ(orv_db_get_error_str(), "");
}

TEST(LastErrorText, KeepsNothingOfALongerTextBefore) {
  setLastError(std::string(100, 'x').c_str());
  setLastError("short");
  EXPECT_STREQ(orv_db_get_error_str(), "short");
}

TEST(LastErrorText, IsOneForAllThreads) {
  setLastError("of this thread");
  std::thread([] {
    EXPECT_STREQ(orv_db_get_error_str(), "of this thread");
    setLastError("of the other thread");
  }).join();
  EXPECT_STREQ(orv_db_get_error_str(), "of the other thread");
}
