/* writer HOST PORT USER DATABASE, with the password in MYSQL_PWD: inserts a row and reads it back. */
#include <orvdb_client.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static int insert(_orv_db_handle_t *handle, unsigned long long *id) {
  _orv_db_content_values_t *values = orv_db_get_content_values();
  orv_db_content_put_text(values, "name", "written in C");
  int status = (int)orv_db_insert(handle, "item", values, NULL, id);
  orv_db_free_content_values(values);
  return status;
}

static int read_back(_orv_db_handle_t *handle, unsigned long long id, char *name, unsigned int size) {
  _orv_db_param_t wanted = {.type = ORV_DB_TYPE_INT64, .value.i64 = (long long)id};
  const char *columns[] = {"name"};
  ResultSetInfo *rows = NULL;
  if (orv_db_query(handle, "item", columns, 1, "_id = ?", &wanted, 1, NULL, &rows) != ORV_DB_OK) return 0;
  int found = orv_db_result_step(rows) == ORV_DB_ROW && orv_db_result_column_text(rows, 0, name, size) == ORV_DB_OK;
  orv_db_free_result(rows);
  return found;
}

int main(int argc, char **argv) {
  unsigned long long id = 0;
  char name[100] = "";
  if (argc != 5) return 2;
  _orv_db_handle_t *handle = orv_db_open(argv[1], argv[3], getenv("MYSQL_PWD"), argv[4], (unsigned int)atoi(argv[2]));
  int done = handle != NULL && insert(handle, &id) == ORV_DB_OK && read_back(handle, id, name, sizeof name);
  if (done) {
    printf("row %llu: %s\n", id, name);
  } else {
    fprintf(stderr, "writer: %s\n", orv_db_get_error_str());
  }
  if (handle != NULL) orv_db_close(handle);
  return done ? 0 : 1;
}
