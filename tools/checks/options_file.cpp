#include "checks/options_file.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <vector>

#include "terminal/text.h"

namespace {

constexpr char kPath[] = "/etc/my.cnf";
constexpr char kSubject[] = "options file";
constexpr char kGroups[] = "[client], [client-server] and [client-mariadb]";

struct Contents {
  std::vector<std::string> options;   // "[client] user"
  std::vector<std::string> includes;  // "!includedir /etc/mysql/conf.d"
  bool hasPassword = false;
};

std::string trimmed(const std::string &text) {
  const std::size_t first = text.find_first_not_of(" \t\r");
  return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

bool isReadGroup(const std::string &line) {
  return line == "[client]" || line == "[client-server]" || line == "[client-mariadb]";
}

void readLine(const std::string &line, std::string &group, Contents &contents) {
  if (line.empty() || line[0] == '#' || line[0] == ';') return;
  if (line[0] == '!') contents.includes.push_back(line);
  if (line[0] == '[') group = line;
  if (line[0] == '!' || line[0] == '[' || !isReadGroup(group)) return;
  const std::string key = trimmed(line.substr(0, line.find('=')));
  contents.options.push_back(group + " " + key);
  contents.hasPassword = contents.hasPassword || key == "password";
}

Contents readContents(std::ifstream &file) {
  Contents contents;
  std::string group;
  for (std::string line; std::getline(file, line);) {
    readLine(trimmed(line), group, contents);
  }
  return contents;
}

std::string joined(const std::vector<std::string> &texts) {
  std::string list;
  for (const std::string &text : texts) {
    list += (list.empty() ? "" : ", ") + text;
  }
  return printable(list);
}

std::string described(const Contents &contents) {
  std::string text = std::string(kPath) + " is read; ";
  text +=
      contents.options.empty() ? std::string("nothing stands in ") + kGroups : "it sets " + joined(contents.options);
  if (!contents.includes.empty()) text += "; it includes more by " + joined(contents.includes);
  return text;
}

bool isReadableByAll() {
  struct stat file {};
  return stat(kPath, &file) == 0 && (file.st_mode & S_IROTH) != 0;
}

}  // namespace

Finding checkOptionsFile() {
  if (access(kPath, F_OK) != 0) return {Level::kOk, kSubject, std::string(kPath) + " is not there, which is fine", ""};
  std::ifstream file(kPath);
  if (!file) {
    return {Level::kWarning, kSubject, std::string(kPath) + " cannot be read: " + std::strerror(errno),
            "let this user read it if it has options for programs"};
  }
  const Contents contents = readContents(file);
  const bool tellsPassword = contents.hasPassword && isReadableByAll();
  return {tellsPassword ? Level::kWarning : Level::kOk, kSubject, described(contents),
          tellsPassword ? "it has a password and every user can read it: take that right away with chmod" : ""};
}
