#include "commands/doctor.h"

#include <dlfcn.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <vector>

#include "checks/options_file.h"
#include "checks/round_trip.h"
#include "database/rows.h"
#include "exit_status.h"
#include "statuses.h"
#include "terminal/standard_output.h"
#include "terminal/text.h"

namespace {

using Json = nlohmann::ordered_json;

// The file that is loaded; its full name has the version.
std::string fileOf(const void *symbol) {
  Dl_info place{};
  if (dladdr(symbol, &place) == 0) return "";
  const std::unique_ptr<char, Releaser<std::free>> path(realpath(place.dli_fname, nullptr));
  return path != nullptr ? path.get() : place.dli_fname;
}

Finding checkLibrary() { return {Level::kOk, "library", fileOf(reinterpret_cast<const void *>(orv_db_open)), ""}; }

// Asked is the very library that is loaded: the public header does not tell of it.
Finding checkClientLibrary() {
  constexpr char kSubject[] = "MariaDB client library";
  void *function = dlsym(RTLD_DEFAULT, "mysql_get_client_info");
  if (function == nullptr) {
    return {Level::kWarning, kSubject, "its version is not known: it is no shared library here", ""};
  }
  const auto clientInfo = reinterpret_cast<const char *(*)()>(function);
  return {Level::kOk, kSubject, std::string("version ") + clientInfo() + ", " + fileOf(function), ""};
}

std::string firstField(_orv_db_handle_t *handle, const std::string &sql) {
  ResultSetInfo *answer = nullptr;
  const unsigned int status = orv_db_raw_query(handle, sql.data(), sql.size(), &answer);
  const Result owner(answer);
  if (status != ORV_DB_OK) throw Failure(statementProblem(status));
  Rows rows(answer);
  return rows.next() ? rows.field(0).value_or("") : "";
}

Finding checkDatabase(const ConnectionOptions &options) {
  constexpr char kSubject[] = "database server";
  try {
    const Handle handle = connect(options);
    return {Level::kOk, kSubject,
            firstField(handle.get(),
                       "SELECT CONCAT('version ', VERSION(), ', connected as ', CURRENT_USER(), "
                       "IFNULL(CONCAT(' to database ', DATABASE()), ''))"),
            ""};
  } catch (const Failure &failure) {
    return {Level::kProblem, kSubject, failure.what(),
            "is it running? Look at -h, -P, -u, -d, and at the password (-p or MYSQL_PWD)"};
  }
}

// Written out at once: the next check may take half a minute.
void printForPeople(const Finding &finding) {
  std::printf("%-8s %s: %s\n", levelName(finding.level), finding.subject.c_str(),
              printableMessage(finding.text).c_str());
  if (!finding.advice.empty()) std::printf("         -> %s\n", finding.advice.c_str());
  finishOutput();
}

void printJson(const std::vector<Finding> &findings) {
  Json list = Json::array();
  for (const Finding &finding : findings) {
    list.push_back({{"subject", finding.subject},
                    {"level", levelName(finding.level)},
                    {"text", finding.text},
                    {"advice", finding.advice}});
  }
  std::puts(list.dump(2, ' ', false, Json::error_handler_t::replace).c_str());
}

using Check = Finding (*)(const DoctorOptions &options);

constexpr Check kChecks[] = {
    [](const DoctorOptions &) { return checkLibrary(); },
    [](const DoctorOptions &) { return checkClientLibrary(); },
    [](const DoctorOptions &) { return checkOptionsFile(); },
    [](const DoctorOptions &options) { return checkDatabase(options.connection); },
    [](const DoctorOptions &) { return checkRoundTrip(); },
};

}  // namespace

const char *levelName(Level level) {
  constexpr const char *kNames[] = {"ok", "warning", "problem"};
  return kNames[static_cast<int>(level)];
}

int doctor(const DoctorOptions &options) {
  std::vector<Finding> findings;
  for (const auto check : kChecks) {
    findings.push_back(check(options));
    if (!options.isJson) printForPeople(findings.back());
  }
  if (options.isJson) printJson(findings);
  const bool isAllOk =
      std::all_of(findings.begin(), findings.end(), [](const Finding &finding) { return finding.level == Level::kOk; });
  return isAllOk ? kDone : kFailed;
}
