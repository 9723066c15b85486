// The first byte says whether the application has a locale of its own, the others fill a container.
#include <locale>

#include "content/content_values.h"
#include "content/table_write.h"
#include "fuzz/broken.h"
#include "fuzz/client/values.h"
#include "fuzz/targets.h"

namespace {

// Numbers that look like no literal of SQL.
class Foreign : public std::numpunct<char> {
  char do_decimal_point() const override { return ','; }
  char do_thousands_sep() const override { return '.'; }
  std::string do_grouping() const override { return "\1"; }
};

class LocaleOfApplication {
 public:
  explicit LocaleOfApplication(bool foreign)
      : m_before(std::locale::global(foreign ? kForeign() : std::locale::classic())) {}
  ~LocaleOfApplication() { std::locale::global(m_before); }
  LocaleOfApplication(const LocaleOfApplication &) = delete;
  LocaleOfApplication &operator=(const LocaleOfApplication &) = delete;

 private:
  static const std::locale &kForeign() {
    static const std::locale foreign(std::locale::classic(), new Foreign);
    return foreign;
  }

  std::locale m_before;
};

void mustBeNothing(const db_value &value) {
  std::string text = "before";
  writeLiteral(text, value);
  mustBeEqual(text, "before", "the literal of a value without a type");
}

}  // namespace

void playLiterals(const std::uint8_t *data, std::size_t size) {
  Input input(data, size);
  const LocaleOfApplication locale(input.oneIn(2));
  do {
    const Filled filled(input);
    auto expected = filled.entries().begin();
    mustHold(filled.get()->values.size() == filled.entries().size(), "every column is there once");
    for (const auto &[column, value] : filled.get()->values) {
      mustBeEqual(column, expected->first, "the next column");
      std::string text = "before";
      writeLiteral(text, value);
      mustBeEqual(text, "before" + literalOf(expected->second), "the literal of " + shown(column));
      ++expected;
    }
    const std::string bytes = input.text(4);
    mustBeNothing({ORV_DB_TYPE_UNKNOWN, bytes.data(), bytes.size()});
  } while (!input.atEnd());
}
