/* What the public header lays down in memory and in numbers, checked while this is compiled, as C and as C++: a program
 * that was built with an earlier header goes on running with the library of today. */
#include <limits.h>
#include <orvdb_client.h>
#include <stddef.h>

#ifdef __cplusplus
#define ORV_ASSERT(condition) static_assert(condition, #condition)
#else
#define ORV_ASSERT(condition) _Static_assert(condition, #condition)
#endif

/* On 64-bit machines, and on 32-bit Arm. */
#define ORV_BYTES(of_64_bit, of_32_bit) (ULONG_MAX > 0xffffffffUL ? (of_64_bit) : (of_32_bit))

ORV_ASSERT(offsetof(_orv_db_param_t, type) == 0);
ORV_ASSERT(offsetof(_orv_db_param_t, length) == ORV_BYTES(8, 4));
ORV_ASSERT(offsetof(_orv_db_param_t, is_unsigned) == ORV_BYTES(16, 8));
ORV_ASSERT(offsetof(_orv_db_param_t, value) == ORV_BYTES(24, 16));
ORV_ASSERT(sizeof(_orv_db_param_t) == ORV_BYTES(32, 24));

ORV_ASSERT(sizeof(((_orv_db_param_t *)0)->type) == 4);
ORV_ASSERT(sizeof(((_orv_db_param_t *)0)->length) == ORV_BYTES(8, 4));
ORV_ASSERT(sizeof(((_orv_db_param_t *)0)->is_unsigned) == 1);
ORV_ASSERT(sizeof(((_orv_db_param_t *)0)->value) == 8);
ORV_ASSERT(sizeof(((_orv_db_param_t *)0)->value.c) == 1);
ORV_ASSERT(sizeof(((_orv_db_param_t *)0)->value.s) == 2);
ORV_ASSERT(sizeof(((_orv_db_param_t *)0)->value.i) == 4);
ORV_ASSERT(sizeof(((_orv_db_param_t *)0)->value.i64) == 8);
ORV_ASSERT(sizeof(((_orv_db_param_t *)0)->value.f) == 4);
ORV_ASSERT(sizeof(((_orv_db_param_t *)0)->value.d) == 8);
ORV_ASSERT(sizeof(((_orv_db_param_t *)0)->value.data) == ORV_BYTES(8, 4));

ORV_ASSERT(sizeof(_orv_db_type_t) == 4);
ORV_ASSERT(ORV_DB_TYPE_CHAR == 1);
ORV_ASSERT(ORV_DB_TYPE_SHORT_INT == 2);
ORV_ASSERT(ORV_DB_TYPE_INT == 3);
ORV_ASSERT(ORV_DB_TYPE_INT64 == 4);
ORV_ASSERT(ORV_DB_TYPE_FLOAT == 5);
ORV_ASSERT(ORV_DB_TYPE_DOUBLE == 6);
ORV_ASSERT(ORV_DB_TYPE_TEXT == 7);
ORV_ASSERT(ORV_DB_TYPE_BLOB == 8);
ORV_ASSERT(ORV_DB_TYPE_UNKNOWN == 9);
ORV_ASSERT(ORV_DB_TYPE_FORCE_32_BITS == 0x7fffffff);

ORV_ASSERT(sizeof(_orv_db_action_t) == 4);
ORV_ASSERT(ORV_DB_ACTION_INSERT == 1);
ORV_ASSERT(ORV_DB_ACTION_UPDATE == 2);
ORV_ASSERT(ORV_DB_ACTION_DELETE == 4);
ORV_ASSERT(ORV_DB_ACTION_ALL == 7);
ORV_ASSERT(ORV_DB_ACTION_FORCE_32_BITS == 0x7fffffff);

ORV_ASSERT(ORV_DB_OK == 0);
ORV_ASSERT(ORV_DB_ERROR == 1);
ORV_ASSERT(ORV_DB_INVALID_ARGUMENT == 3);
ORV_ASSERT(ORV_DB_NO_MEMORY == 4);
ORV_ASSERT(ORV_DB_NO_EVENT_MANAGER == 6);
ORV_ASSERT(ORV_DB_NO_REPLY == 7);
ORV_ASSERT(ORV_DB_ROW == 9);
ORV_ASSERT(ORV_DB_DONE == 10);
ORV_ASSERT(ORV_DB_NO_ROW == 11);
ORV_ASSERT(ORV_DB_GONE == 12);
ORV_ASSERT(ORV_DB_LOST == 13);
ORV_ASSERT(ORV_DB_COMMIT_FAILED == 14);

ORV_ASSERT(ORV_DB_VERSION_MAJOR == 1);
ORV_ASSERT(ORV_DB_VERSION_MINOR >= 0);
ORV_ASSERT(ORV_DB_VERSION_PATCH >= 0);
