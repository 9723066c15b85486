#include "terminal/output.h"

#include <charconv>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <set>

#include "database/rows.h"
#include "terminal/standard_output.h"
#include "terminal/text.h"
#include "terminal/text_table.h"

namespace {

using Json = nlohmann::ordered_json;

void put(const std::string &text) { std::fwrite(text.data(), 1, text.size(), stdout); }

// --- for people ---

void printAsTable(Rows &rows) {
  std::vector<TextTable::Column> columns;
  for (const Column &column : rows.columns()) {
    columns.push_back({printable(column.name), column.isNumeric()});
  }
  TextTable table(columns);
  unsigned long long count = 0;
  for (; rows.next(); ++count) {
    std::vector<std::string> cells;
    for (std::size_t i = 0; i < columns.size(); ++i) {
      const Field field = rows.field(i);
      cells.push_back(field ? printable(*field) : "NULL");
    }
    table.addRow(std::move(cells));
  }
  table.print(terminalWidth());
  put(counted(count, "row") + "\n");
}

// --- CSV ---

// Nothing at all stands for NULL, and quotes around nothing for an empty text.
std::string csvField(const Field &field) {
  if (!field) return "";
  if (!isUtf8(*field)) return "0x" + hexDigits(*field);
  if (!field->empty() && field->find_first_of(",\"\r\n") == std::string::npos) return *field;
  std::string quoted = "\"";
  for (const char c : *field) {
    quoted += c == '"' ? "\"\"" : std::string(1, c);
  }
  return quoted + '"';
}

template <class FieldAt>
void putCsvLine(std::size_t count, FieldAt fieldAt) {
  std::string line;
  for (std::size_t i = 0; i < count; ++i) {
    line += (i > 0 ? "," : "") + csvField(fieldAt(i));
  }
  put(line + "\n");
}

void printAsCsv(Rows &rows) {
  const std::vector<Column> &columns = rows.columns();
  putCsvLine(columns.size(), [&](std::size_t i) { return columns[i].name; });
  while (rows.next()) {
    putCsvLine(columns.size(), [&](std::size_t i) { return rows.field(i); });
  }
}

// --- JSON ---

// Fails for nothing that the server sends: its digits fit one of the two types.
template <class Number>
std::optional<Json> parseInteger(const std::string &digits) {
  Number number = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  if (error != std::errc() || end != digits.data() + digits.size()) return std::nullopt;
  return Json(number);
}

// A fraction stays a text: as a number, its reader would round it.
Json jsonValue(const Column &column, const Field &field) {
  if (!field) return {};
  if (column.isInteger()) {
    if (const auto number = parseInteger<std::int64_t>(*field)) return *number;
    if (const auto number = parseInteger<std::uint64_t>(*field)) return *number;
  }
  return isUtf8(*field) ? Json(*field) : Json{{"hex", hexDigits(*field)}};
}

// An object cannot have the same name twice.
std::vector<std::string> differentNames(const std::vector<Column> &columns) {
  std::vector<std::string> names;
  std::set<std::string> taken;
  for (const Column &column : columns) {
    std::string name = column.name;
    for (int number = 2; !taken.insert(name).second; ++number) {
      name = column.name + "_" + std::to_string(number);
    }
    names.push_back(name);
  }
  return names;
}

std::string asText(const Json &json) { return json.dump(-1, ' ', false, Json::error_handler_t::replace); }

void printAsJson(Rows &rows) {
  const std::vector<std::string> names = differentNames(rows.columns());
  const char *separator = "[\n  ";
  bool isEmpty = true;
  for (; rows.next(); isEmpty = false) {
    Json object = Json::object();
    for (std::size_t i = 0; i < names.size(); ++i) {
      object[names[i]] = jsonValue(rows.columns()[i], rows.field(i));
    }
    put(separator + asText(object));
    separator = ",\n  ";
  }
  put(isEmpty ? "[]\n" : "\n]\n");
}

// --- of a write ---

std::string outcomeInWords(const Outcome &outcome) {
  const std::string id = outcome.insertId == 0 ? "" : ", new id " + std::to_string(outcome.insertId);
  return counted(outcome.affectedRows, "row") + " affected" + id + "\n";
}

std::string outcomeAsCsv(const Outcome &outcome) {
  return "affected_rows,insert_id\n" + std::to_string(outcome.affectedRows) + "," + std::to_string(outcome.insertId) +
         "\n";
}

std::string outcomeAsJson(const Outcome &outcome) {
  return asText({{"affected_rows", outcome.affectedRows}, {"insert_id", outcome.insertId}}) + "\n";
}

struct Writer {
  void (*printRows)(Rows &rows);
  std::string (*describe)(const Outcome &outcome);
};

// By the numbers of Format.
constexpr Writer kWriters[] = {
    {printAsTable, outcomeInWords}, {printAsCsv, outcomeAsCsv}, {printAsJson, outcomeAsJson}};

const Writer &writerFor(Format format) { return kWriters[static_cast<int>(format)]; }

}  // namespace

void printRows(ResultSetInfo *result, Format format) {
  Rows rows(result);
  writerFor(format).printRows(rows);
}

void printOutcome(const Outcome &outcome, Format format) { put(writerFor(format).describe(outcome)); }
