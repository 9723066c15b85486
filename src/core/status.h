// From the client library's error numbers to statuses.
#pragma once

#include <errmsg.h>
#include <orvdb_client.h>

// The code is what a call of the client library returned, which mostly is no error number and then a plain failure.
constexpr int statusOfClientError(unsigned int code) {
  constexpr unsigned int kNoParametersExist = 2033;  // has no name in the client library's header
  struct mapping {
    unsigned int code;
    int status;
  };
  constexpr mapping kMappings[] = {
      {0, ORV_DB_OK},
      {CR_SERVER_GONE_ERROR, ORV_DB_GONE},
      {CR_OUT_OF_MEMORY, ORV_DB_NO_MEMORY},
      {CR_SERVER_LOST, ORV_DB_LOST},
      {CR_PARAMS_NOT_BOUND, ORV_DB_INVALID_ARGUMENT},
      {kNoParametersExist, ORV_DB_INVALID_ARGUMENT},
      {CR_INVALID_PARAMETER_NO, ORV_DB_INVALID_ARGUMENT},
      {CR_UNSUPPORTED_PARAM_TYPE, ORV_DB_INVALID_ARGUMENT},
  };
  for (const mapping &entry : kMappings) {
    if (entry.code == code) return entry.status;
  }
  return ORV_DB_ERROR;
}
