/*
 * Prints each change of the demo's tables as another process makes it, one line per change: table, action, row id.
 * Ends when the last of the tables, which has no rows and only marks the end, is announced; or on SIGINT or SIGTERM.
 */
#define _POSIX_C_SOURCE 200809L

#include <errno.h>
#include <orvdb_client.h>
#include <semaphore.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>

static sem_t finished;

static const char *action_name(_orv_db_action_t action) {
  switch (action) {
    case ORV_DB_ACTION_INSERT:
      return "insert";
    case ORV_DB_ACTION_UPDATE:
      return "update";
    case ORV_DB_ACTION_DELETE:
      return "delete";
    case ORV_DB_ACTION_ALL:
      return "all";
    default:
      return "unknown";
  }
}

/* Called on the library's message thread. */
static void print_change(const char *db, const char *table, _orv_db_action_t action, unsigned long long row_id,
                         void *user_data) {
  (void)db;
  (void)user_data;
  printf("%s %s %llu\n", table, action_name(action), row_id);
}

static void print_last_change(const char *db, const char *table, _orv_db_action_t action, unsigned long long row_id,
                              void *user_data) {
  print_change(db, table, action, row_id, user_data);
  /* A single action with row id 0 is the notification server's reminder that something may have been missed. */
  if (action == ORV_DB_ACTION_ALL) sem_post(&finished);
}

static void finish_on_signal(int signal_number) {
  (void)signal_number;
  sem_post(&finished);
}

static void catch_signal(int signal_number) {
  struct sigaction action = {.sa_handler = finish_on_signal};
  sigaction(signal_number, &action, NULL);
}

static void watch(const char *db, const char *table, orv_db_change_cb callback) {
  const int status = orv_db_register_callback(db, table, ORV_DB_ACTION_ALL, NULL, 0, callback);
  if (status == ORV_DB_OK) return;
  fprintf(stderr, "watcher: cannot watch %s.%s: status %d%s\n", db, table, status,
          status == ORV_DB_GONE ? ", no notification server is running" : "");
  exit(EXIT_FAILURE);
}

int main(int argc, char **argv) {
  static const char *const tables[] = {"vendors", "devices", "load_finished"};
  const char *db = argv[1];

  if (argc != 2) {
    fputs("Usage: watcher DATABASE\n", stderr);
    return 2;
  }
  sem_init(&finished, 0, 0);
  catch_signal(SIGINT);
  catch_signal(SIGTERM);
  setvbuf(stdout, NULL, _IOLBF, 0);

  watch(db, tables[0], print_change);
  watch(db, tables[1], print_change);
  watch(db, tables[2], print_last_change);
  printf("# changes of %s\n", db); /* whoever starts us may make changes from here on */

  while (sem_wait(&finished) != 0 && errno == EINTR)
    continue;
  for (size_t i = 0; i < sizeof(tables) / sizeof(tables[0]); ++i) {
    orv_db_cancel_callback(db, tables[i], ORV_DB_ACTION_ALL);
  }
  return fflush(stdout) == 0 && !ferror(stdout) ? EXIT_SUCCESS : EXIT_FAILURE;
}
