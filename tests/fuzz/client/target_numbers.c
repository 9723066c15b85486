/* A filter, compiled for the target: reads texts in hexadecimal, one on each line, and writes the numbers that the
 * target's C library makes of each, one line for each text. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "numbers_format.h"

typedef char long_must_have_32_bits[sizeof(long) == 4 ? 1 : -1];

static unsigned int bits_of_float(float number) {
  unsigned int bits;
  memcpy(&bits, &number, sizeof bits);
  return bits;
}

static unsigned long long bits_of_double(double number) {
  unsigned long long bits;
  memcpy(&bits, &number, sizeof bits);
  return bits;
}

static void write_numbers(const char *text) {
  const long number = strtol(text, NULL, 10);
  const unsigned long positive = strtoul(text, NULL, 10);
  printf(ORVDB_NUMBERS_FORMAT "\n", (unsigned char)number, (unsigned char)positive, (unsigned short)number,
         (unsigned short)positive, (unsigned int)number, (unsigned int)positive,
         (unsigned long long)strtoll(text, NULL, 10), strtoull(text, NULL, 10), bits_of_float(strtof(text, NULL)),
         bits_of_double(strtod(text, NULL)));
  fflush(stdout);
}

int main(void) {
  static char line[65536];
  static char text[sizeof line / 2 + 1];
  while (fgets(line, sizeof line, stdin) != NULL) {
    size_t length = 0;
    unsigned int byte;
    while (sscanf(line + 2 * length, "%2x", &byte) == 1)
      text[length++] = (char)byte;
    text[length] = '\0';
    write_numbers(text);
  }
  return 0;
}
