#include "fault/allocations/cases.h"

namespace {

using PutInto = std::function<int(_orv_db_content_values_t *content)>;

// A column that is new.
Case put(const char *function, PutInto putInto) {
  Case one{function, "", Case::badAlloc, 0, [putInto](World &world) { return putInto(world.content()); }};
  one.release = [](World &world) { orv_db_content_clear(world.content()); };
  one.isDone = [](World &world) { return world.content()->values.count(kColumn) == 1; };
  return one;
}

template <class Value>
Case putValue(const char *function, int (*put_)(_orv_db_content_values_t *, const char *, Value)) {
  return put(function, [put_](_orv_db_content_values_t *content) { return put_(content, kColumn, Value{}); });
}

// The old value stays where the new one does not fit into memory.
Case putOver() {
  Case one = put("orv_db_content_put_text",
                 [](_orv_db_content_values_t *content) { return orv_db_content_put_text(content, kColumn, kText); });
  one.variant = "OverAnother";
  one.prepare = [](World &world) { EXPECT_EQ(orv_db_content_put_int(world.content(), kColumn, 1), 0); };
  one.isDone = [](World &world) { return world.content()->values.at(kColumn).toParam().type == ORV_DB_TYPE_TEXT; };
  return one;
}

Case getContentValues() {
  Case one{"orv_db_get_content_values", "", Case::badAlloc, 0, [](World &world) {
             world.made = orv_db_get_content_values();
             return 0;
           }};
  one.prepare = [](World &world) { world.made = nullptr; };
  one.release = [](World &world) { orv_db_free_content_values(world.made); };
  one.isDone = [](World &world) { return world.made != nullptr; };
  return one;
}

Case freeContentValues() {
  Case one{"orv_db_free_content_values", "", Case::needsNoMemory, 0, [](World &world) {
             orv_db_free_content_values(world.made);
             return 0;
           }};
  one.prepare = [](World &world) {
    world.made = orv_db_get_content_values();
    EXPECT_EQ(orv_db_content_put_text(world.made, kColumn, kText), 0);
  };
  return one;
}

Case clear() {
  Case one{"orv_db_content_clear", "", Case::needsNoMemory, 0, [](World &world) {
             orv_db_content_clear(world.content());
             return 0;
           }};
  one.prepare = [](World &world) { EXPECT_EQ(orv_db_content_put_text(world.content(), kColumn, kText), 0); };
  one.isDone = [](World &world) { return world.content()->values.empty(); };
  return one;
}

}  // namespace

std::vector<Case> contentCases() {
  using Content = _orv_db_content_values_t;
  return {
      getContentValues(),
      freeContentValues(),
      clear(),
      put("orv_db_content_put_null", [](Content *content) { return orv_db_content_put_null(content, kColumn); }),
      putValue("orv_db_content_put_char", orv_db_content_put_char),
      putValue("orv_db_content_put_uchar", orv_db_content_put_uchar),
      putValue("orv_db_content_put_short_int", orv_db_content_put_short_int),
      putValue("orv_db_content_put_short_uint", orv_db_content_put_short_uint),
      putValue("orv_db_content_put_int", orv_db_content_put_int),
      putValue("orv_db_content_put_uint", orv_db_content_put_uint),
      putValue("orv_db_content_put_int64", orv_db_content_put_int64),
      putValue("orv_db_content_put_uint64", orv_db_content_put_uint64),
      putValue("orv_db_content_put_float", orv_db_content_put_float),
      putValue("orv_db_content_put_double", orv_db_content_put_double),
      put("orv_db_content_put_text", [](Content *content) { return orv_db_content_put_text(content, kColumn, kText); }),
      putOver(),
      put("orv_db_content_put_blob",
          [](Content *content) { return orv_db_content_put_blob(content, kColumn, kText, sizeof kText); }),
  };
}
