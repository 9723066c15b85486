// A folder of a test's own, which goes with its owner: declare it before the programs that write there, so that they
// have ended by then.
#pragma once

#include <stdlib.h>

#include <filesystem>
#include <stdexcept>
#include <string>

class TemporaryFolder {
 public:
  TemporaryFolder() : path_(make()) {}
  ~TemporaryFolder() { std::filesystem::remove_all(path_); }
  TemporaryFolder(const TemporaryFolder &) = delete;
  TemporaryFolder &operator=(const TemporaryFolder &) = delete;

  const std::filesystem::path &path() const { return path_; }

 private:
  static std::string make() {
    std::string name = std::filesystem::temp_directory_path() / "orvdb-test.XXXXXX";
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("cannot make a folder");
    return name;
  }

  const std::filesystem::path path_;
};
