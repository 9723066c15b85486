/* Calls every function that the library exports, with NULL for every handle, result and container, and checks what is
 * documented for it. A plain C program: it also proves that the header and the library serve one. */
#include <orvdb_client.h>
#include <stdio.h>
#include <string.h>

static int failures;

#define EXPECT(condition)                                                     \
  do {                                                                        \
    if (!(condition)) {                                                       \
      fprintf(stderr, "%s:%d: not so: %s\n", __FILE__, __LINE__, #condition); \
      ++failures;                                                             \
    }                                                                         \
  } while (0)

#define EXPECT_INVALID(call) EXPECT((int)(call) == ORV_DB_INVALID_ARGUMENT)

static _orv_db_handle_t *const handle = NULL;
static ResultSetInfo *const result = NULL;
static _orv_db_content_values_t *const content = NULL;
static const char *const no_name = NULL;

static void call_connections(void) {
  /* No server listens at this port, nor, where this runs, at the notification server's socket. */
  EXPECT(orv_db_retry_init() == ORV_DB_ERROR);
  EXPECT(orv_db_open("127.0.0.1", NULL, NULL, "none", 1) == NULL);
  EXPECT(strlen(orv_db_get_error_str()) > 0);
  orv_db_close(handle);
  EXPECT(orv_db_test_connection(handle) == ORV_DB_ERROR);
  EXPECT(orv_db_raw_affected_rows(handle) == 3);
  EXPECT(orv_db_raw_insert_id(handle) == 3);
  EXPECT_INVALID(orv_db_begin_transaction(handle));
  EXPECT_INVALID(orv_db_commit_transaction(handle));
  EXPECT_INVALID(orv_db_rollback_transaction(handle));
  EXPECT(strlen(orv_db_get_error_str()) > 0);
}

static void call_queries(void) {
  static const char sql[] = "SELECT 1";
  ResultSetInfo *rows = NULL;
  EXPECT_INVALID(orv_db_raw_query(handle, sql, sizeof sql - 1, &rows));
  EXPECT(rows == NULL);
  EXPECT(strlen(orv_db_get_error_str()) == 0);
  EXPECT_INVALID(orv_db_query(handle, "t", NULL, 0, NULL, NULL, 0, NULL, &rows));
  EXPECT(rows == NULL);
}

static void call_result_accessors(void) {
  _orv_db_type_t type = ORV_DB_TYPE_CHAR;
  EXPECT(orv_db_result_row_count(result) == -1);
  EXPECT(orv_db_result_column_count(result) == -1);
  EXPECT_INVALID(orv_db_result_step(result));
  EXPECT_INVALID(orv_db_result_reset(result));
  EXPECT(orv_db_result_column_name(result, 0) == NULL);
  EXPECT_INVALID(orv_db_result_column_type(result, 0, &type));
  EXPECT(type == ORV_DB_TYPE_CHAR);
  EXPECT(orv_db_result_column_index(result, "c") == -1);
  orv_db_free_result(result);
}

/* What a getter is to fill stays as it was. */
#define EXPECT_UNTOUCHED(getter, variable_type)                \
  do {                                                         \
    variable_type value = 7;                                   \
    EXPECT_INVALID(orv_db_result_##getter(result, 0, &value)); \
    EXPECT(value == 7);                                        \
  } while (0)

static void call_getters(void) {
  char text[4] = "abc";
  unsigned char bytes[3] = {1, 2, 3};
  EXPECT_UNTOUCHED(column_is_null, int);
  EXPECT_UNTOUCHED(column_bytes, unsigned long);
  EXPECT_UNTOUCHED(column_char, char);
  EXPECT_UNTOUCHED(column_uchar, unsigned char);
  EXPECT_UNTOUCHED(column_short_int, short);
  EXPECT_UNTOUCHED(column_short_uint, unsigned short);
  EXPECT_UNTOUCHED(column_int, int);
  EXPECT_UNTOUCHED(column_uint, unsigned int);
  EXPECT_UNTOUCHED(column_int64, long long);
  EXPECT_UNTOUCHED(column_uint64, unsigned long long);
  EXPECT_UNTOUCHED(column_float, float);
  EXPECT_UNTOUCHED(column_double, double);
  EXPECT_INVALID(orv_db_result_column_text(result, 0, text, sizeof text));
  EXPECT(strcmp(text, "abc") == 0);
  EXPECT_INVALID(orv_db_result_column_blob(result, 0, bytes, sizeof bytes));
  EXPECT(bytes[0] == 1);
}

static void call_content_values(void) {
  _orv_db_content_values_t *made = orv_db_get_content_values();
  EXPECT(made != NULL);
  EXPECT_INVALID(orv_db_content_put_int(made, no_name, 1));
  orv_db_free_content_values(made);
  orv_db_free_content_values(content);
  orv_db_content_clear(content);
  EXPECT_INVALID(orv_db_content_put_null(content, "c"));
  EXPECT_INVALID(orv_db_content_put_char(content, "c", 1));
  EXPECT_INVALID(orv_db_content_put_uchar(content, "c", 1));
  EXPECT_INVALID(orv_db_content_put_short_int(content, "c", 1));
  EXPECT_INVALID(orv_db_content_put_short_uint(content, "c", 1));
  EXPECT_INVALID(orv_db_content_put_int(content, "c", 1));
  EXPECT_INVALID(orv_db_content_put_uint(content, "c", 1));
  EXPECT_INVALID(orv_db_content_put_int64(content, "c", 1));
  EXPECT_INVALID(orv_db_content_put_uint64(content, "c", 1));
  EXPECT_INVALID(orv_db_content_put_float(content, "c", 1));
  EXPECT_INVALID(orv_db_content_put_double(content, "c", 1));
  EXPECT_INVALID(orv_db_content_put_text(content, "c", "1"));
  EXPECT_INVALID(orv_db_content_put_blob(content, "c", "1", 1));
}

static void call_table_operations(void) {
  unsigned long long affected_rows = 7;
  unsigned long long insert_id = 7;
  EXPECT_INVALID(orv_db_insert(handle, "t", content, &affected_rows, &insert_id));
  EXPECT(affected_rows == 0 && insert_id == 0);
  affected_rows = 7;
  EXPECT_INVALID(orv_db_update(handle, "t", content, NULL, NULL, 0, &affected_rows));
  EXPECT(affected_rows == 0);
  affected_rows = 7;
  EXPECT_INVALID(orv_db_delete(handle, "t", NULL, NULL, 0, &affected_rows));
  EXPECT(affected_rows == 0);
}

static void call_notification(void) {
  EXPECT_INVALID(orv_db_notify_change(no_name, no_name, ORV_DB_ACTION_INSERT, 1));
  EXPECT_INVALID(orv_db_register_callback(no_name, no_name, ORV_DB_ACTION_INSERT, NULL, 0, NULL));
  EXPECT_INVALID(orv_db_cancel_callback(no_name, no_name, ORV_DB_ACTION_INSERT));
}

int main(void) {
  call_connections();
  call_queries();
  call_result_accessors();
  call_getters();
  call_content_values();
  call_table_operations();
  call_notification();
  return failures == 0 ? 0 : 1;
}
