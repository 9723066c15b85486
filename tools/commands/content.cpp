#include "commands/content.h"

#include <set>
#include <string_view>
#include <utility>

#include "exit_status.h"
#include "terminal/input.h"

namespace {

constexpr std::size_t kLargestBlob = 1U << 30U;
constexpr std::string_view kStandardInput = "@-";

struct Assignment {
  std::string column;
  std::string value;
};

Assignment split(const std::string &text, const std::string &form) {
  const std::size_t sign = text.find('=');
  if (sign == 0 || sign == std::string::npos) throw WrongUsage("'" + text + "' is not of the form " + form);
  return {text.substr(0, sign), text.substr(sign + 1)};
}

class Builder {
 public:
  void putText(const std::string &assignment) {
    const auto [column, value] = split(assignment, "COL=VALUE");
    claim(column);
    orv_db_content_put_text(values_.get(), column.c_str(), value.c_str());
  }

  void putNull(const std::string &column) {
    claim(column);
    orv_db_content_put_null(values_.get(), column.c_str());
  }

  void putBlob(const std::string &assignment) {
    const auto [column, file] = split(assignment, "COL=@FILE");
    if (file.size() < 2 || file[0] != '@') throw WrongUsage("'" + assignment + "' is not of the form COL=@FILE");
    claim(column);
    if (file == kStandardInput && std::exchange(hasReadStandardInput_, true))
      throw WrongUsage("only one column can have the bytes of standard input");
    const std::string bytes = readInput(file.substr(1));
    if (bytes.size() > kLargestBlob) throw Failure(file.substr(1) + " is larger than 1 GiB: no statement can hold it");
    orv_db_content_put_blob(values_.get(), column.c_str(), bytes.data(), static_cast<unsigned int>(bytes.size()));
  }

  Content finish() {
    if (columns_.empty()) throw WrongUsage("there is no value to write");
    return {std::move(values_), textBytes_};
  }

 private:
  void claim(const std::string &column) {
    if (column.empty()) throw WrongUsage("the name of a column cannot be empty");
    if (!columns_.insert(column).second) throw WrongUsage("column " + column + " has two values");
    textBytes_ += column.size() + std::string_view("=?,").size();
  }

  Values values_{orv_db_get_content_values()};
  std::set<std::string> columns_;
  std::size_t textBytes_ = 0;
  bool hasReadStandardInput_ = false;
};

}  // namespace

Content readContent(const WriteOptions &options) {
  Builder builder;
  for (const std::string &value : options.values) {
    builder.putText(value);
  }
  for (const std::string &column : options.nulls) {
    builder.putNull(column);
  }
  for (const std::string &blob : options.blobs) {
    builder.putBlob(blob);
  }
  return builder.finish();
}
