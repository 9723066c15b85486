// Reads records from its standard input until it ends.
#include <unistd.h>

#include "event/message.h"

int main() {
  char record[kRecordSize];
  while (read(STDIN_FILENO, record, sizeof record) > 0) {
  }
}
