#include "unit/query/accessors.h"

#include <algorithm>

namespace {

template <auto Function, class Out>
unsigned int callFunction(ResultSetInfo *result, unsigned int index, void *out) {
  return Function(result, index, static_cast<Out *>(out));
}

template <auto Operation, class Out>
unsigned int callOperation(ResultSetInfo *result, unsigned int index, void *out) {
  return (result->*Operation)(index, static_cast<Out *>(out));
}

template <auto Function, class Out>
unsigned int callBytesFunction(ResultSetInfo *result, unsigned int index, void *out) {
  return Function(result, index, static_cast<Out *>(out), kBytesSize);
}

template <auto Operation, class Out>
unsigned int callBytesOperation(ResultSetInfo *result, unsigned int index, void *out) {
  return (result->*Operation)(index, static_cast<Out *>(out), kBytesSize);
}

template <class Out, auto Function, auto Operation>
constexpr Accessor accessor(const char *name) {
  return {name, sizeof(Out), callFunction<Function, Out>, callOperation<Operation, Out>};
}

template <class Out, auto Function, auto Operation>
constexpr Accessor bytesAccessor(const char *name) {
  return {name, kBytesSize, callBytesFunction<Function, Out>, callBytesOperation<Operation, Out>};
}

}  // namespace

const std::vector<Accessor> &descriptionAccessors() {
  static const std::vector<Accessor> all = {
      accessor<_orv_db_type_t, orv_db_result_column_type, &ResultSetInfo::colType>("type"),
      accessor<int, orv_db_result_column_is_null, &ResultSetInfo::isColNull>("is_null"),
      accessor<unsigned long, orv_db_result_column_bytes, &ResultSetInfo::colBytes>("bytes"),
  };
  return all;
}

const std::vector<Accessor> &numberAccessors() {
  static const std::vector<Accessor> all = {
      accessor<char, orv_db_result_column_char, &ResultSetInfo::getChar>("char"),
      accessor<unsigned char, orv_db_result_column_uchar, &ResultSetInfo::getUChar>("uchar"),
      accessor<short, orv_db_result_column_short_int, &ResultSetInfo::getShortInt>("short_int"),
      accessor<unsigned short, orv_db_result_column_short_uint, &ResultSetInfo::getUShortInt>("short_uint"),
      accessor<int, orv_db_result_column_int, &ResultSetInfo::getInt>("int"),
      accessor<unsigned int, orv_db_result_column_uint, &ResultSetInfo::getUInt>("uint"),
      accessor<long long, orv_db_result_column_int64, &ResultSetInfo::getBigInt>("int64"),
      accessor<unsigned long long, orv_db_result_column_uint64, &ResultSetInfo::getUBigInt>("uint64"),
      accessor<float, orv_db_result_column_float, &ResultSetInfo::getFloat>("float"),
      accessor<double, orv_db_result_column_double, &ResultSetInfo::getDouble>("double"),
  };
  return all;
}

const std::vector<Accessor> &bytesAccessors() {
  static const std::vector<Accessor> all = {
      bytesAccessor<char, orv_db_result_column_text, &ResultSetInfo::getText>("text"),
      bytesAccessor<unsigned char, orv_db_result_column_blob, &ResultSetInfo::getBlob>("blob"),
  };
  return all;
}

const std::vector<Accessor> &rowAccessors() {
  static const std::vector<Accessor> all = [] {
    std::vector<Accessor> accessors(descriptionAccessors().begin() + 1, descriptionAccessors().end());
    accessors.insert(accessors.end(), numberAccessors().begin(), numberAccessors().end());
    accessors.insert(accessors.end(), bytesAccessors().begin(), bytesAccessors().end());
    return accessors;
  }();
  return all;
}

bool WatchedOutput::isUntouched(std::size_t first) const {
  return std::all_of(bytes_.begin() + first, bytes_.end(), [](unsigned char byte) { return byte == kMark; });
}

bool WatchedOutput::isZero(std::size_t size) const {
  return std::all_of(bytes_.begin(), bytes_.begin() + size, [](unsigned char byte) { return byte == 0; });
}
