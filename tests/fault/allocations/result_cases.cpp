#include "fault/allocations/cases.h"

namespace {

// Of a result of either kind. Both have to give the same.
Case onRows(const char *function, int usual, std::function<int(ResultSetInfo *)> call) {
  return {function, "", Case::needsNoMemory, usual, [call](World &world) {
            const int raw = call(world.rows()[0].get());
            const int statement = call(world.rows()[1].get());
            return raw == statement ? raw : kNull;
          }};
}

template <class Out>
Case getter(const char *function, unsigned int (*get)(ResultSetInfo *, unsigned int, Out *)) {
  return onRows(function, 0, [get](ResultSetInfo *rows) {
    Out out{};
    return static_cast<int>(get(rows, 0, &out));
  });
}

template <class Byte>
Case bytesGetter(const char *function, unsigned int (*get)(ResultSetInfo *, unsigned int, Byte *, unsigned long)) {
  return onRows(function, 0, [get](ResultSetInfo *rows) {
    Byte bytes[64];
    return static_cast<int>(get(rows, 0, bytes, sizeof bytes));
  });
}

// Afterwards the first row is current again.
Case step() {
  Case one = onRows("orv_db_result_step", ORV_DB_ROW,
                    [](ResultSetInfo *rows) { return static_cast<int>(orv_db_result_step(rows)); });
  one.prepare = [](World &world) {
    for (const Result &rows : world.rows())
      EXPECT_EQ(orv_db_result_reset(rows.get()), 0U);
  };
  return one;
}

Case freeResult(const char *variant, void (*prepare)(World &)) {
  Case one{"orv_db_free_result", variant, Case::needsNoMemory, 0, [](World &world) {
             orv_db_free_result(world.result);
             return 0;
           }};
  one.prepare = prepare;
  return one;
}

}  // namespace

std::vector<Case> resultCases() {
  return {
      freeResult("OfAQuery", [](World &world) { world.result = world.statementResult(); }),
      freeResult("OfARawQuery", [](World &world) { world.result = world.rawResult(); }),
      freeResult("OnTheHeap",
                 [](World &world) {
                   world.fillPools();
                   world.result = world.statementResult();
                 }),
      onRows("orv_db_result_row_count", 2,
             [](ResultSetInfo *rows) { return static_cast<int>(orv_db_result_row_count(rows)); }),
      onRows("orv_db_result_column_count", 33, orv_db_result_column_count),
      step(),
      onRows("orv_db_result_reset", 0, [](ResultSetInfo *rows) { return static_cast<int>(orv_db_result_reset(rows)); }),
      onRows("orv_db_result_column_name", 0,
             [](ResultSetInfo *rows) { return orv_db_result_column_name(rows, 32) != nullptr ? 0 : kNull; }),
      onRows("orv_db_result_column_index", 32,
             [](ResultSetInfo *rows) { return orv_db_result_column_index(rows, "C32"); }),
      getter("orv_db_result_column_type", orv_db_result_column_type),
      getter("orv_db_result_column_is_null", orv_db_result_column_is_null),
      getter("orv_db_result_column_bytes", orv_db_result_column_bytes),
      getter("orv_db_result_column_char", orv_db_result_column_char),
      getter("orv_db_result_column_uchar", orv_db_result_column_uchar),
      getter("orv_db_result_column_short_int", orv_db_result_column_short_int),
      getter("orv_db_result_column_short_uint", orv_db_result_column_short_uint),
      getter("orv_db_result_column_int", orv_db_result_column_int),
      getter("orv_db_result_column_uint", orv_db_result_column_uint),
      getter("orv_db_result_column_int64", orv_db_result_column_int64),
      getter("orv_db_result_column_uint64", orv_db_result_column_uint64),
      getter("orv_db_result_column_float", orv_db_result_column_float),
      getter("orv_db_result_column_double", orv_db_result_column_double),
      bytesGetter("orv_db_result_column_text", orv_db_result_column_text),
      bytesGetter("orv_db_result_column_blob", orv_db_result_column_blob),
  };
}
