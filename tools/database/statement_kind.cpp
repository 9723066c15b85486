#include "database/statement_kind.h"

#include <algorithm>
#include <cctype>

namespace {

bool isLetter(char c) { return std::isalpha(static_cast<unsigned char>(c)) != 0; }

// Behind a comment of which the text up to `end` is a part.
std::string_view behind(std::string_view sql, std::string_view end) {
  const std::size_t at = sql.find(end);
  return at == std::string_view::npos ? std::string_view() : sql.substr(at + end.size());
}

}  // namespace

std::string firstWord(std::string_view sql) {
  while (!sql.empty() && !isLetter(sql[0])) {
    if (sql[0] == '#' || sql.substr(0, 2) == "--") {
      sql = behind(sql, "\n");
    } else if (sql.substr(0, 2) == "/*") {
      sql = behind(sql, "*/");
    } else {
      sql.remove_prefix(1);
    }
  }
  std::string word(sql.begin(), std::find_if_not(sql.begin(), sql.end(), isLetter));
  std::transform(word.begin(), word.end(), word.begin(), [](unsigned char c) { return std::tolower(c); });
  return word;
}
