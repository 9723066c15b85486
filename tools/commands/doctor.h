// orvdb doctor: is everything there that a program with this library needs?
#pragma once

#include "database/connection.h"

struct DoctorOptions {
  ConnectionOptions connection;
  bool isJson = false;
};

int doctor(const DoctorOptions &options);
