#include "changes/change_line.h"

#include <array>
#include <ctime>
#include <nlohmann/json.hpp>

#include "changes/changes.h"
#include "terminal/text.h"

namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t kActionWidth = 6;

// In local time; `format` is one of strftime().
std::string formatted(const Change &change, const char *format) {
  const std::time_t seconds = std::chrono::system_clock::to_time_t(change.time);
  std::tm fields{};
  localtime_r(&seconds, &fields);
  std::array<char, 64> text{};
  std::strftime(text.data(), text.size(), format, &fields);
  return text.data();
}

std::string milliseconds(const Change &change) {
  using std::chrono::milliseconds;
  const auto sinceEpoch = std::chrono::duration_cast<milliseconds>(change.time.time_since_epoch());
  return std::to_string(1000 + sinceEpoch.count() % 1000).substr(1);
}

std::string joinedActions(unsigned int actions) {
  std::string text;
  for (const std::string &name : actionNames(actions)) {
    text += (text.empty() ? "" : "+") + name;
  }
  return text;
}

std::string filledUp(const std::string &text, std::size_t width) {
  const std::size_t used = displayWidth(text);
  return text + std::string(used < width ? width - used : 0, ' ');
}

bool isWholeTable(const Change &change) { return actionNames(change.actions).size() == 3; }

std::string rowInWords(const Change &change) {
  if (change.rowId == kUnknownRow) return "unknown or several rows";
  if (change.rowId != kWholeTable) return "row " + std::to_string(change.rowId);
  return isWholeTable(change) ? "the whole table may have changed" : "read the table again";
}

const char *scope(const Change &change) {
  if (change.rowId == kUnknownRow) return "unknown";
  return change.rowId == kWholeTable ? "table" : "row";
}

}  // namespace

std::string changeForPeople(const Change &change, std::size_t tableWidth) {
  const std::string actions = isWholeTable(change) ? "all" : joinedActions(change.actions);
  return formatted(change, "%F %T.") + milliseconds(change) + "  " + filledUp(printable(change.table), tableWidth) +
         "  " + filledUp(actions, kActionWidth) + "  " + rowInWords(change);
}

std::string changeAsJson(const Change &change) {
  const std::string rowScope = scope(change);
  const Json line{{"time", formatted(change, "%FT%T.") + milliseconds(change) + formatted(change, "%z")},
                  {"database", change.database},
                  {"table", change.table},
                  {"actions", actionNames(change.actions)},
                  {"scope", rowScope},
                  {"row_id", rowScope == "row" ? Json(change.rowId) : Json()}};
  return line.dump(-1, ' ', false, Json::error_handler_t::replace);
}
