/*
 * A first program in C: hears of changes to the table `item`, writes a row and reads rows.
 *
 *   MYSQL_PWD=... first_program HOST USER DATABASE
 *
 * It prints what other processes change until SIGINT or SIGTERM. Start it twice: each hears of the lamp of the other.
 */
#define _POSIX_C_SOURCE 200809L

#include <orvdb_client.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>

/* Called on the library's message thread, for changes of other processes alone. */
static void print_change(const char *db, const char *table, _orv_db_action_t action, unsigned long long row,
                         void *user_data) {
  (void)user_data;
  printf("%s.%s: action %d, row %llu\n", db, table, (int)action, row);
  fflush(stdout);
}

static int fail(const char *what, unsigned int status) {
  fprintf(stderr, "first_program: cannot %s: status %u %s\n", what, status, orv_db_get_error_str());
  return EXIT_FAILURE;
}

/* The columns are named and the values typed; the other processes that have registered hear of the row. */
static int add_lamp(_orv_db_handle_t *database) {
  _orv_db_content_values_t *lamp = orv_db_get_content_values();
  unsigned long long id = 0;
  int status;

  orv_db_content_put_text(lamp, "name", "lamp");
  orv_db_content_put_int(lamp, "price", 1299);
  status = orv_db_insert(database, "item", lamp, NULL, &id);
  orv_db_free_content_values(lamp);
  if (status != ORV_DB_OK) return fail("add a lamp", (unsigned int)status);
  printf("the new lamp is row %llu\n", id);
  return EXIT_SUCCESS;
}

static int print_items(_orv_db_handle_t *database, int limit) {
  const char *columns[] = {"name", "price"};
  _orv_db_param_t highest = {.type = ORV_DB_TYPE_INT, .value.i = limit};
  ResultSetInfo *rows = NULL;
  unsigned int status = orv_db_query(database, "item", columns, 2, "price <= ?", &highest, 1, "price, name", &rows);

  if (status != ORV_DB_OK) return fail("read the items", status);
  while ((status = orv_db_result_step(rows)) == ORV_DB_ROW) {
    char name[64 * 4 + 1] = ""; /* the column has 64 characters, of 4 bytes at most */
    int price = 0;
    orv_db_result_column_text(rows, 0, name, sizeof name);
    orv_db_result_column_int(rows, 1, &price);
    printf("%s: %d\n", name, price);
  }
  orv_db_free_result(rows);
  return status == ORV_DB_DONE ? EXIT_SUCCESS : fail("read an item", status);
}

int main(int argc, char **argv) {
  _orv_db_handle_t *database;
  sigset_t ends;
  int signal_number;
  int status;

  if (argc != 4) {
    fputs("Usage: first_program HOST USER DATABASE\n", stderr);
    return 2;
  }
  /* Blocked before anything happens, and waited for at the end. */
  sigemptyset(&ends);
  sigaddset(&ends, SIGINT);
  sigaddset(&ends, SIGTERM);
  sigprocmask(SIG_BLOCK, &ends, NULL);

  /* Who registers first and reads then misses nothing. */
  status = orv_db_register_callback(argv[3], "item", ORV_DB_ACTION_ALL, NULL, 0, print_change);
  if (status != ORV_DB_OK) return fail("register (is orvdb_server running?)", (unsigned int)status);
  database = orv_db_open(argv[1], argv[2], getenv("MYSQL_PWD"), argv[3], 0);
  if (database == NULL) return fail("open the database", ORV_DB_ERROR);
  status = add_lamp(database);
  if (status == EXIT_SUCCESS) status = print_items(database, 2000);
  fflush(stdout);
  if (status == EXIT_SUCCESS) sigwait(&ends, &signal_number);

  orv_db_cancel_callback(argv[3], "item", ORV_DB_ACTION_ALL);
  orv_db_close(database);
  return status;
}
