// From the client library's column types to those of the interface.
#include <gtest/gtest.h>

#include <map>

#include "query/result_fields.h"

namespace {

const std::map<enum_field_types, _orv_db_type_t> kNamed = {
    {MYSQL_TYPE_TINY, ORV_DB_TYPE_CHAR},         {MYSQL_TYPE_SHORT, ORV_DB_TYPE_SHORT_INT},
    {MYSQL_TYPE_LONG, ORV_DB_TYPE_INT},          {MYSQL_TYPE_LONGLONG, ORV_DB_TYPE_INT64},
    {MYSQL_TYPE_FLOAT, ORV_DB_TYPE_FLOAT},       {MYSQL_TYPE_DOUBLE, ORV_DB_TYPE_DOUBLE},
    {MYSQL_TYPE_NEWDECIMAL, ORV_DB_TYPE_DOUBLE}, {MYSQL_TYPE_VARCHAR, ORV_DB_TYPE_TEXT},
    {MYSQL_TYPE_VAR_STRING, ORV_DB_TYPE_TEXT},   {MYSQL_TYPE_STRING, ORV_DB_TYPE_TEXT},
    {MYSQL_TYPE_BLOB, ORV_DB_TYPE_BLOB},
};

TEST(ColumnType, ElevenTypesHaveACodeOfTheirOwn) {
  for (const auto &[field, type] : kNamed)
    EXPECT_EQ(typeOfField(field), type) << "client library's type " << field;
}

TEST(ColumnType, EveryOtherNumberIsUnknown) {
  for (int number = 0; number <= 0xFF; ++number) {
    const auto field = static_cast<enum_field_types>(number);
    if (kNamed.count(field) == 0) {
      EXPECT_EQ(typeOfField(field), ORV_DB_TYPE_UNKNOWN) << "client library's type " << number;
    }
  }
}

TEST(ColumnType, TheNeighboursOfNamedTypesAreUnknown) {
  for (const enum_field_types field :
       {MYSQL_TYPE_DECIMAL, MYSQL_TYPE_NULL, MYSQL_TYPE_TIMESTAMP, MYSQL_TYPE_INT24, MYSQL_TYPE_DATE, MYSQL_TYPE_TIME,
        MYSQL_TYPE_DATETIME, MYSQL_TYPE_YEAR, MYSQL_TYPE_NEWDATE, MYSQL_TYPE_BIT, MYSQL_TYPE_ENUM, MYSQL_TYPE_SET,
        MYSQL_TYPE_TINY_BLOB, MYSQL_TYPE_MEDIUM_BLOB, MYSQL_TYPE_LONG_BLOB, MYSQL_TYPE_GEOMETRY}) {
    EXPECT_EQ(typeOfField(field), ORV_DB_TYPE_UNKNOWN) << "client library's type " << field;
  }
}

}  // namespace
