#include "core/last_error.h"

#include <orvdb_client.h>

#include <cstring>

char s_szErrorStr[kErrorTextSize];

void clearLastError() { s_szErrorStr[0] = '\0'; }

void setLastError(const char *text) {
  if (text == nullptr) return clearLastError();
  std::strncpy(s_szErrorStr, text, kErrorTextSize - 1);
  s_szErrorStr[kErrorTextSize - 1] = '\0';
}

extern "C" const char *orv_db_get_error_str(void) { return s_szErrorStr; }
