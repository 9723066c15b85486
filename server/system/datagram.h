// A socket for messages to another program of this machine, such as the system log, which are handed over at once or
// not at all.
#pragma once

#include <string>
#include <string_view>

#include "system/descriptor.h"

// A path that begins with '@' is an abstract name. Not open where nobody listens, or where the path is empty or too
// long.
Descriptor connectDatagram(std::string_view path);

// Of whatever kind the socket is. False, with errno, when it takes nothing now.
bool sendWithoutWaiting(int socket, const std::string &text);
