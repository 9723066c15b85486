/* Says which version of the header it was built with, and uses the library. */
#include <orvdb_client.h>
#include <stdio.h>

int main(void) {
  _orv_db_content_values_t *values = orv_db_get_content_values();
  int status = orv_db_content_put_text(values, "name", "value");
  orv_db_free_content_values(values);
  printf("%d.%d.%d\n", ORV_DB_VERSION_MAJOR, ORV_DB_VERSION_MINOR, ORV_DB_VERSION_PATCH);
  return status;
}
