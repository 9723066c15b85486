// Rows of cells as aligned columns.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

class TextTable {
 public:
  struct Column {
    std::string name;
    bool isNumeric;  // aligned to the right
  };

  // Names and cells are printable texts.
  explicit TextTable(std::vector<Column> columns);
  void addRow(std::vector<std::string> cells);

  // Prints within so many columns of a terminal: long cells are cut, and where there are too many of them for that,
  // each gets a line of its own. A width of 0 sets no limit.
  void print(std::size_t width) const;

 private:
  using Widths = std::vector<std::size_t>;

  Widths naturalWidths() const;
  void printLine(const std::vector<std::string> &cells, const Widths &widths) const;
  void printColumns(const Widths &widths) const;
  void printRecords() const;

  std::vector<Column> columns_;
  std::vector<std::string> names_;
  std::vector<std::vector<std::string>> rows_;
};
