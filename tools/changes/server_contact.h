// Whether the notification server is still there. The library looks for a lost one by itself, and tells nobody.
#pragma once

#include "changes/change_queue.h"

// Says on standard error, from a thread of its own, when the server is lost and when it is back. Closes the queue,
// which must never be destroyed, once the library does not look for the server any more.
void keepAnEyeOnServer(ChangeQueue &queue);
