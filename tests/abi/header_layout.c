/* The checks are in the header. */
#include "header_layout.h"
