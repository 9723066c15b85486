// What is written about the rows.
#include <gtest/gtest.h>

#include <sstream>

#include "report/figures.h"
#include "report/table.h"

namespace {

Row rowOf(const Aim &aim, double library, double reference) {
  Row row{"group", {"insert", "s", aim, "by hand", {}}, {library, library, library}, std::nullopt, std::nullopt, 1};
  const double ratio = library / reference;
  row.reference = Spread{reference, reference, reference};
  row.ratio = Spread{ratio, ratio, ratio};
  return row;
}

}  // namespace

TEST(Figure, HasThreeDigitsThatCountAndTheUnitThatSuits) {
  EXPECT_EQ(figure(1.234e-9, "s"), "1.23 ns");
  EXPECT_EQ(figure(12.34e-6, "s"), "12.3 µs");
  EXPECT_EQ(figure(0.1234, "s"), "123 ms");
  EXPECT_EQ(figure(4.111, "s"), "4.11 s");
  EXPECT_EQ(figure(0, "s"), "0.00 ns");
  EXPECT_EQ(figure(150 * 1024, "B"), "150 KiB");
  EXPECT_EQ(figure(8.39 * 1024 * 1024, "B"), "8.39 MiB");
}

TEST(Figure, LeavesWholeNumbersOfOtherUnitsWhole) {
  EXPECT_EQ(figure(7, "allocations"), "7 allocations");
  EXPECT_EQ(figure(1234567, "instructions"), "1234567 instructions");
  EXPECT_EQ(figure(2.5, "allocations"), "2.50 allocations");
}

TEST(Figure, GivesASpreadInTheUnitOfItsMedian) {
  EXPECT_EQ(spreadFigure({183e-6, 180e-6, 1190e-6}, "s"), "180-1190 µs");
  EXPECT_EQ(spreadFigure({1, 1, 1}, "s"), "-");
}

TEST(Verdict, SaysWhetherTheAimWasMet) {
  EXPECT_EQ(verdict(rowOf(ratioAtMost(1.02), 102, 100)), "met");
  EXPECT_EQ(verdict(rowOf(ratioAtMost(1.02), 103, 100)), "not met");
  EXPECT_EQ(verdict(rowOf(libraryAtMost(150), 150, 1)), "met");
  EXPECT_EQ(verdict(rowOf(libraryAtMost(150), 151, 1000)), "not met");
  EXPECT_EQ(verdict(rowOf({}, 1000, 1)), "-");
}

TEST(Table, LinesUpItsColumnsAndNamesEachGroupOnce) {
  Row other = rowOf({}, 2e-6, 1e-6);
  other.group = "another";
  std::ostringstream out;
  writeTable(out, {rowOf(ratioAtMost(1.02), 1.05e-6, 1e-6), rowOf({}, 1e-6, 1e-6), other});
  EXPECT_EQ(
      out.str(),
      "| work        | library | its spread | reference | its spread | ratio | its spread |    aim |    met? |\n"
      "|:------------|--------:|-----------:|----------:|-----------:|------:|-----------:|-------:|--------:|\n"
      "| **group**   |         |            |           |            |       |            |        |         |\n"
      "| insert      | 1.05 µs |          - |   1.00 µs |          - | 1.050 |          - | ≤ 1.02 | not met |\n"
      "| insert      | 1.00 µs |          - |   1.00 µs |          - | 1.000 |          - |      - |       - |\n"
      "| **another** |         |            |           |            |       |            |        |         |\n"
      "| insert      | 2.00 µs |          - |   1.00 µs |          - | 2.000 |          - |      - |       - |\n");
}

TEST(Table, IsFollowedByWhatTheReferencesDo) {
  std::ostringstream out;
  writeReferences(out, {rowOf({}, 1, 1), rowOf({}, 1, 1)});
  EXPECT_EQ(out.str(), "- insert: by hand\n");
}

TEST(Table, IsFollowedByOneLineForAllPointsOfACurve) {
  Row first = rowOf({}, 1, 1);
  first.subject.place = {"insert by rows", "rows", 1};
  Row second = first;
  second.subject.work = "insert, rows: 10";
  std::ostringstream out;
  writeReferences(out, {first, second});
  EXPECT_EQ(out.str(), "- insert by rows: by hand\n");
}
