/* How the numbers of one text are written, by the model and by the program that runs as on the target. */
#ifndef ORVDB_NUMBERS_FORMAT_H
#define ORVDB_NUMBERS_FORMAT_H

/* char, unsigned char, short, unsigned short, int, unsigned int, 64 bits signed and unsigned, float, double. */
#define ORVDB_NUMBERS_FORMAT "%02x %02x %04x %04x %08x %08x %016llx %016llx %08x %016llx"

#endif
