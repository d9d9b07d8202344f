#include "coverage.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

namespace mirl::fuzz {

namespace {

/// How often each operation occurs, by `function` or `Class::member`.
using Counts = std::map<std::string, int>;

Counts countsOf(const Rows& rows) {
  Counts counts;
  for (const Row& row : rows) {
    std::istringstream words(row.name);
    std::string first, word;
    words >> first;
    if (first.back() != ':') {
      ++counts[first];
      continue;
    }
    first.pop_back();
    const bool members = first.starts_with("Mirl");
    while (words >> word) ++counts[members ? first + "::" + word : word];
  }
  return counts;
}

/// What the headers declare and define elsewhere: each overload of functions with a status, and at
/// least one of all others.
Counts declaredIn(const std::string& folder) {
  Counts counts;
  for (const auto& header : std::filesystem::directory_iterator(folder)) {
    std::ifstream in(header.path());
    std::string line, owner;  // the class
    bool hidden = false;
    while (std::getline(in, line)) {
      std::istringstream words(line);
      std::string first, exported, name;
      words >> first >> exported >> name;
      const bool isClass = first == "class" || first == "struct";
      if (isClass && exported == "MIRL_API") owner = name;
      if (first == "private:") hidden = true;
      if (line == "};") owner.clear(), hidden = false;

      const std::size_t called = line.find("operator()");
      const std::size_t end = line.find('(', called == std::string::npos ? 0 : called + 10);
      // Continued lines, those defined in the header and comments.
      const std::size_t indent = owner.empty() ? 0 : 2;
      if (hidden || isClass || end == std::string::npos || first.starts_with("//") ||
          line.find_first_not_of(' ') != indent || line.find('{') != std::string::npos ||
          line.find("= default") != std::string::npos || (owner.empty() && first != "MIRL_API")) {
        continue;
      }
      std::size_t begin = line.find("operator");
      if (begin >= end) begin = line.find_last_of(" *&", end) + 1;
      name = line.substr(begin, end - begin);
      if (name[0] == '~') continue;
      int& count = counts[owner.empty() ? name : owner + "::" + name];
      count = owner.empty() && exported == "MirlStatus" ? count + 1 : 1;
    }
  }
  return counts;
}

}  // namespace

int checkHeaders(const std::string& folder, const Rows& rows) {
  const Counts declared = declaredIn(folder), there = countsOf(rows);
  int missing = 0, operations = 0;
  for (const auto& [name, count] : declared) {
    const auto found = there.find(name);
    const int has = found == there.end() ? 0 : found->second;
    operations += count;
    if (has >= count) continue;
    std::printf("%s: %d of %d have a row in tests/fuzz\n", name.c_str(), has, count);
    ++missing;
  }
  for (const auto& [name, count] : there) {
    if (declared.contains(name)) continue;
    std::printf("%s: the row is of an operation that no header declares\n", name.c_str());
    ++missing;
  }
  std::printf("%d operations, %zu rows, %d missing\n", operations, rows.size(), missing);
  // An empty folder has all of its rows.
  return missing == 0 && operations > 100 ? 0 : 1;
}

}  // namespace mirl::fuzz
