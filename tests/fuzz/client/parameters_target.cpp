// A sequence of statements on a stand-in for the client library: which one, its table and filter, then its values.
#include <deque>

#include "fault/client_library.h"
#include "fuzz/broken.h"
#include "fuzz/client/logged.h"
#include "fuzz/client/values.h"
#include "fuzz/targets.h"
#include "support/owners.h"

namespace {

constexpr std::size_t kLongestBytes = 40;

// A filter's text with its parameters, which may be one more or less than it has places for.
class Filter {
 public:
  explicit Filter(Input &input) : m_used(!input.oneIn(4)) {
    if (!m_used) return;
    const std::size_t places = input.choice(5);
    m_text = "1";
    for (std::size_t i = 0; i < places; ++i)
      m_text += " AND f" + std::to_string(i) + "=?";
    const std::size_t count = input.oneIn(8) ? input.choice(6) : places;
    m_fits = count == places;
    for (std::size_t i = 0; i < count; ++i)
      addParam(input);
  }

  const char *text() const { return m_used ? m_text.c_str() : nullptr; }
  const _orv_db_param_t *params() const { return m_params.empty() ? nullptr : m_params.data(); }
  int count() const { return static_cast<int>(m_params.size()); }
  bool fits() const { return m_fits; }
  std::string clause() const { return m_used ? " WHERE " + m_text : ""; }
  std::vector<ExpectedBind> binds() const {
    std::vector<ExpectedBind> binds;
    for (const _orv_db_param_t &param : m_params)
      binds.push_back(bindOf(param));
    return binds;
  }

 private:
  // Of any type, also none.
  void addParam(Input &input) {
    _orv_db_param_t param{};
    const std::uint8_t code = input.byte();
    param.type = static_cast<_orv_db_type_t>(code < 0xf0 ? code % 11 : 0x7fffffff - code);
    param.is_unsigned = input.byte();
    param.value.i64 = input.number<long long>();
    if (param.type == ORV_DB_TYPE_TEXT || param.type == ORV_DB_TYPE_BLOB) {
      m_bytes.push_back(input.bytes(input.choice(kLongestBytes)));
      param.length = m_bytes.back().size();
      param.value.data = input.oneIn(4) ? nullptr : m_bytes.back().data();
    }
    m_params.push_back(param);
  }

  bool m_used;
  bool m_fits = true;
  std::string m_text;
  std::vector<_orv_db_param_t> m_params;
  std::deque<std::string> m_bytes;
};

class Statements {
 public:
  explicit Statements(Input &input) : m_input(input), m_handle(orv_db_open("host", "user", "secret", "db", 0)) {
    client().script.columns.assign(1, {"_id", MYSQL_TYPE_LONGLONG});
  }

  ~Statements() { forgetAll(); }
  Statements(const Statements &) = delete;
  Statements &operator=(const Statements &) = delete;

  void runOne() {
    static constexpr void (Statements::*kKinds[])() = {&Statements::insert, &Statements::update, &Statements::remove,
                                                       &Statements::query};
    forgetAll();
    m_table = m_input.oneIn(2) ? "Firmwares" : "items";
    (this->*kKinds[m_input.choice(std::size(kKinds))])();
  }

 private:
  void insert() {
    const Filled filled(m_input);
    const int status = orv_db_insert(handle(), m_table.c_str(), filled.get(), nullptr, nullptr);
    if (refused(filled, status)) return;
    const auto text = [&](bool logged) {
      Calls columns;
      Calls values;
      for (const auto &[column, value] : filled.entries()) {
        columns.push_back(column);
        values.push_back(shownAs(value, logged));
      }
      return "INSERT INTO " + m_table + "(" + listOf(columns) + ") VALUES (" + listOf(values) + ")";
    };
    mustHaveRun(status, {text(false)}, bindsOf(filled));
    mustHaveLogged(text(true));
  }

  void update() {
    const Filled filled(m_input);
    const Filter filter(m_input);
    const int status =
        orv_db_update(handle(), m_table.c_str(), filled.get(), filter.text(), filter.params(), filter.count(), nullptr);
    if (refused(filled, status)) return;
    const auto text = [&](bool logged) {
      Calls assignments;
      for (const auto &[column, value] : filled.entries())
        assignments.push_back(column + "=" + shownAs(value, logged));
      return "UPDATE " + m_table + " SET " + listOf(assignments) + filter.clause();
    };
    if (!filter.fits()) return mustHaveRefused(status);
    std::vector<ExpectedBind> binds = bindsOf(filled);
    for (ExpectedBind &bind : filter.binds())
      binds.push_back(bind);
    mustHaveRun(status, {"SELECT _id FROM " + m_table + filter.clause(), text(false)}, binds);
    mustHaveLogged(text(true));
  }

  void remove() {
    const Filter filter(m_input);
    const int status =
        orv_db_delete(handle(), m_table.c_str(), filter.text(), filter.params(), filter.count(), nullptr);
    if (!filter.fits()) return mustHaveRefused(status);
    const std::string text = "DELETE FROM " + m_table + filter.clause();
    mustHaveRun(status, {text}, filter.binds());
    mustHaveLogged(text);
  }

  void query() {
    const Filter filter(m_input);
    const char *columns[] = {"a", "b"};
    ResultSetInfo *result = nullptr;
    const unsigned int status = orv_db_query(handle(), m_table.c_str(), columns, 2, filter.text(), filter.params(),
                                             static_cast<unsigned int>(filter.count()), "b DESC", &result);
    const Result freed(result);
    if (!filter.fits()) return mustHaveRefused(static_cast<int>(status));
    mustHaveRun(static_cast<int>(status), {"SELECT a,b FROM " + m_table + filter.clause() + " ORDER BY b DESC"},
                filter.binds());
  }

  static void forgetAll() {
    client().executed.clear();
    client().boundParams.clear();
    takeLoggedText();
  }

  _orv_db_handle_t *handle() const { return m_handle.get(); }

  static std::string listOf(const Calls &words) {
    std::string list = words.front();
    for (auto word = words.begin() + 1; word != words.end(); ++word)
      list += "," + *word;
    return list;
  }

  static std::string shownAs(const Value &value, bool logged) { return logged ? literalOf(value) : "?"; }

  static std::vector<ExpectedBind> bindsOf(const Filled &filled) {
    std::vector<ExpectedBind> binds;
    for (const auto &[column, value] : filled.entries())
      binds.push_back(bindOf(value));
    return binds;
  }

  static bool refused(const Filled &filled, int status) {
    if (filled.entries().empty()) mustHaveRefused(status);
    return filled.entries().empty();
  }

  static void mustHaveRefused(int status) {
    mustHold(status == ORV_DB_INVALID_ARGUMENT, "what does not fit gives 3, not " + std::to_string(status));
    mustHold(client().executed.empty(), "what does not fit is not run");
    mustBeEqual(takeLoggedText(), "", "what was logged of it");
  }

  static void mustHaveRun(int status, const Calls &texts, const std::vector<ExpectedBind> &binds) {
    mustHold(status == ORV_DB_OK, "the status is " + std::to_string(status));
    mustHold(client().executed.size() == texts.size(), "so many statements were run");
    for (std::size_t i = 0; i < texts.size(); ++i)
      mustBeEqual(client().executed[i], texts[i], "the statement");
    mustHold(client().boundParams.size() == binds.size(), "so many parameters were bound");
    for (std::size_t i = 0; i < binds.size(); ++i)
      mustBeBound(client().boundParams[i], binds[i]);
  }

  static void mustBeBound(const Bound &bound, const ExpectedBind &expected) {
    mustHold(bound.bind.buffer_type == expected.type, "the bound type is " + std::to_string(bound.bind.buffer_type));
    mustHold(bound.bind.is_null != nullptr && *bound.bind.is_null == 0, "no bound value is marked as NULL");
    mustHold((bound.bind.is_unsigned != 0) == expected.isUnsigned, "the sign is the value's");
    mustBeEqual(bound.bytes, expected.bytes, "the bound value");
    mustHold(bound.bind.buffer_length == expected.bytes.size(), "the bound size is the value's");
    mustHold((bound.bind.buffer == nullptr) == (expected.type == MYSQL_TYPE_NULL), "NULL alone has no buffer");
  }

  // Handed over as a text of C.
  void mustHaveLogged(const std::string &text) const {
    const std::string expected = m_table == "Firmwares" ? text.c_str() : "";
    mustBeEqual(takeLoggedText(), expected, "what was logged");
  }

  Input &m_input;
  Handle m_handle;
  std::string m_table;
};

}  // namespace

void playParameters(const std::uint8_t *data, std::size_t size) {
  Input input(data, size);
  Statements statements(input);
  do
    statements.runOne();
  while (!input.atEnd());
  mustHold(client().openStatements.empty() && client().openResults.empty(), "nothing is left open");
}
