// Writes the USB ID database into two tables, changes some rows one by one, and reads back. Other processes hear of all
// that through the library. What was written and must have been heard is left in a journal for the checker.
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <vector>

#include "progress_bar.h"
#include "table_writer.h"
#include "usb_ids.h"

namespace {

constexpr std::size_t kRowsPerTransaction = 500;
constexpr int kNewVendors = 100;
constexpr std::size_t kRenameEvery = 40;
constexpr std::size_t kRemoveEvery = 60;

// Announced when everything is written. Only a name: there is no such table.
constexpr char kLoadFinished[] = "load_finished";

std::vector<UsbVendor> readVendors(const std::string &path) {
  std::ifstream file(path);
  std::vector<UsbVendor> vendors = readUsbIds(file);
  if (vendors.empty()) throw std::runtime_error("no vendors in " + path);
  return vendors;
}

std::size_t countDevices(const std::vector<UsbVendor> &vendors) {
  std::size_t count = 0;
  for (const UsbVendor &vendor : vendors) {
    count += vendor.devices.size();
  }
  return count;
}

// Commits after every kRowsPerTransaction rows and at the end.
class Batches {
 public:
  Batches(TableWriter &writer, ProgressBar &progress) : m_writer(writer), m_progress(progress) {}

  template <class Write>
  void row(const Write &write) {
    if (m_rows == 0) m_writer.begin();
    write();
    m_progress.advance();
    if (++m_rows == kRowsPerTransaction) finish();
  }

  void finish() {
    if (m_rows == 0) return;
    m_writer.commit();
    m_rows = 0;
    ++m_commits;
  }

  std::size_t commits() const { return m_commits; }

 private:
  TableWriter &m_writer;
  ProgressBar &m_progress;
  std::size_t m_rows = 0;
  std::size_t m_commits = 0;
};

void load(TableWriter &writer, const std::vector<UsbVendor> &vendors) {
  const std::size_t total = vendors.size() + countDevices(vendors);
  ProgressBar progress("loading ", total);
  Batches batches(writer, progress);
  std::vector<TableWriter::RowId> vendorIds;
  for (const UsbVendor &vendor : vendors) {
    batches.row([&] { vendorIds.push_back(writer.insertVendor(vendor.code, vendor.name)); });
  }
  batches.finish();
  for (std::size_t i = 0; i < vendors.size(); ++i) {
    for (const UsbDevice &device : vendors[i].devices) {
      batches.row([&] { writer.insertDevice(vendorIds[i], device.code, device.name); });
    }
  }
  batches.finish();
  progress.finish();
  std::printf("loaded %zu rows in %zu transactions\n", total, batches.commits());
}

// Row ids of every nth row.
std::vector<TableWriter::RowId> everyNth(const Journal::Rows &rows, std::size_t n) {
  std::vector<TableWriter::RowId> ids;
  std::size_t position = 0;
  for (const auto &[id, fields] : rows) {
    if (++position % n == 0) ids.push_back(id);
  }
  return ids;
}

using Steps = std::vector<std::function<void()>>;

Steps insertSteps(TableWriter &writer) {
  Steps steps;
  for (int i = 1; i <= kNewVendors; ++i) {
    steps.emplace_back([&writer, i] {
      const auto code = static_cast<std::uint16_t>(i);
      const TableWriter::RowId vendor = writer.insertVendor(code, "Vendor № " + std::to_string(i) + " of the demo 🔌");
      writer.insertDevice(vendor, code, "Its only device");
    });
  }
  return steps;
}

Steps renameSteps(TableWriter &writer, const Table &table) {
  Steps steps;
  for (const TableWriter::RowId id : everyNth(writer.journal().rows(table.name), kRenameEvery)) {
    steps.emplace_back([&writer, &table, id] {
      writer.rename(table, id, writer.journal().rows(table.name).at(id).back() + " (renamed)");
    });
  }
  return steps;
}

Steps removeSteps(TableWriter &writer, const Table &table) {
  Steps steps;
  for (const TableWriter::RowId id : everyNth(writer.journal().rows(table.name), kRemoveEvery)) {
    steps.emplace_back([&writer, &table, id] { writer.remove(table, id); });
  }
  return steps;
}

void run(const std::string &label, const Steps &steps) {
  ProgressBar progress(label, steps.size());
  for (const auto &step : steps) {
    step();
    progress.advance();
  }
  progress.finish();
  std::printf("%s: %zu\n", label.c_str(), steps.size());
}

void changeOneByOne(TableWriter &writer) {
  run("vendors added, with a device each", insertSteps(writer));
  run("vendors renamed", renameSteps(writer, kVendors));
  run("devices renamed", renameSteps(writer, kDevices));
  run("devices deleted", removeSteps(writer, kDevices));
}

void announceEnd(TableWriter &writer, const std::string &database) {
  check(orv_db_notify_change(database.c_str(), kLoadFinished, ORV_DB_ACTION_ALL, 0), "announce the end");
  writer.journal().notified(kLoadFinished, ORV_DB_ACTION_ALL, 0);
}

void printDevices(const Handle &handle, long long vendor, const std::string &vendorName) {
  const char *columns[] = {"code", "name"};
  const _orv_db_param_t where = uint64Param(static_cast<unsigned long long>(vendor));
  ResultSetInfo *rows = nullptr;
  check(orv_db_query(handle.get(), "devices", columns, 2, "vendor_id=?", &where, 1, "code LIMIT 3", &rows), "query");
  const Result devices(rows);
  std::printf("\nfirst devices of %s\n", vendorName.c_str());
  while (step(devices)) {
    std::printf("   %04llx  %s\n", integerColumn(devices, 0), textColumn(devices, 1).c_str());
  }
}

void report(const Handle &handle) {
  const Result vendors =
      rawQuery(handle,
               "SELECT v._id, v.name, COUNT(*) AS devices FROM vendors v JOIN devices d ON d.vendor_id = v._id"
               " GROUP BY v._id ORDER BY devices DESC, v.name LIMIT 5");
  std::printf("\nvendors with most devices\n");
  while (step(vendors)) {
    std::printf("  %5lld  %s\n", integerColumn(vendors, 2), textColumn(vendors, 1).c_str());
  }
  orv_db_result_reset(vendors.get());  // so there may be a row again
  // cppcheck-suppress knownConditionTrueFalse
  if (step(vendors)) printDevices(handle, integerColumn(vendors, 0), textColumn(vendors, 1));
}

}  // namespace

int main(int argc, char **argv) try {
  if (argc != 5) {
    std::fputs("Usage: loader CONNECTION-FILE DATABASE USB-IDS-FILE JOURNAL-DIRECTORY\n", stderr);
    return 2;
  }
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  const std::string database = argv[2];
  const std::vector<UsbVendor> vendors = readVendors(argv[3]);
  TableWriter writer(argv[1], database);
  load(writer, vendors);
  changeOneByOne(writer);
  announceEnd(writer, database);
  writer.journal().writeTo(argv[4]);
  report(writer.handle());
  return EXIT_SUCCESS;
} catch (const std::exception &error) {
  std::fprintf(stderr, "loader: %s\n", error.what());
  return EXIT_FAILURE;
}
