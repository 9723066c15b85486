#include "terminal/text_table.h"

#include <algorithm>
#include <cstdio>
#include <numeric>
#include <utility>

#include "terminal/text.h"

namespace {

constexpr std::size_t kGap = 2;         // between columns
constexpr std::size_t kLeastWidth = 6;  // to which a column is cut

std::size_t lineWidth(const std::vector<std::size_t> &widths) {
  return std::accumulate(widths.begin(), widths.end(), kGap * (widths.size() - 1));
}

// Takes from the widest column until the line fits. False when it cannot.
bool fit(std::vector<std::size_t> &widths, std::size_t limit) {
  for (std::size_t &width : widths) {
    width = std::min(width, limit);
  }
  for (std::size_t total = lineWidth(widths); total > limit; --total) {
    const auto widest = std::max_element(widths.begin(), widths.end());
    if (*widest <= kLeastWidth) return false;
    --*widest;
  }
  return true;
}

void put(const std::string &text) { std::fwrite(text.data(), 1, text.size(), stdout); }

void pad(std::size_t columns) { put(std::string(columns, ' ')); }

}  // namespace

TextTable::TextTable(std::vector<Column> columns) : columns_(std::move(columns)) {
  for (const Column &column : columns_) {
    names_.push_back(column.name);
  }
}

void TextTable::addRow(std::vector<std::string> cells) { rows_.push_back(std::move(cells)); }

void TextTable::print(std::size_t width) const {
  Widths widths = naturalWidths();
  if (width == 0 || fit(widths, width)) {
    printColumns(widths);
  } else {
    printRecords();
  }
}

TextTable::Widths TextTable::naturalWidths() const {
  Widths widths(columns_.size(), 1);
  const auto widen = [&](const std::vector<std::string> &cells) {
    for (std::size_t i = 0; i < widths.size(); ++i) {
      widths[i] = std::max(widths[i], displayWidth(cells[i]));
    }
  };
  widen(names_);
  for (const auto &row : rows_) {
    widen(row);
  }
  return widths;
}

void TextTable::printLine(const std::vector<std::string> &cells, const Widths &widths) const {
  for (std::size_t i = 0; i < widths.size(); ++i) {
    const std::string text = cutToWidth(cells[i], widths[i]);
    const std::size_t rest = widths[i] - displayWidth(text);
    if (columns_[i].isNumeric) pad(rest);
    put(text);
    const bool isLast = i + 1 == widths.size();
    if (!isLast) pad(kGap + (columns_[i].isNumeric ? 0 : rest));
  }
  put("\n");
}

void TextTable::printColumns(const Widths &widths) const {
  std::vector<std::string> rule;
  rule.reserve(widths.size());
  for (const std::size_t width : widths) {
    rule.emplace_back(width, '-');
  }
  printLine(names_, widths);
  printLine(rule, widths);
  for (const auto &row : rows_) {
    printLine(row, widths);
  }
}

void TextTable::printRecords() const {
  std::size_t nameWidth = 0;
  for (const std::string &name : names_) {
    nameWidth = std::max(nameWidth, displayWidth(name));
  }
  for (std::size_t number = 0; number < rows_.size(); ++number) {
    put("-- " + std::to_string(number + 1) + " --\n");
    for (std::size_t i = 0; i < names_.size(); ++i) {
      put(names_[i]);
      pad(nameWidth - displayWidth(names_[i]) + kGap);
      put(rows_[number][i] + "\n");
    }
  }
}
