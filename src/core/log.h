// Lines in the system log, written only by processes whose executable's base name begins with "QZ_".
#pragma once

#include "core/locks.h"

// printf-style; cut at 1022 characters.
void db_api_log(const char *format, ...) ORV_EXCLUDES(s_pLogMutex) __attribute__((format(printf, 1, 2)));

// One line that names the calling process and thread; `tag` says on what occasion.
void db_api_process_info(const char *tag) ORV_EXCLUDES(s_pLogMutex);
