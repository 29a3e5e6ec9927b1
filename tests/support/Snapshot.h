#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <time.h>

namespace connector::test {

/// Path to all that shows a change there.
using Snapshot = std::map<std::string, std::string>;

inline std::string describe(const std::filesystem::path& path) {
  struct stat found = {};
  if (lstat(path.c_str(), &found) != 0) {
    return "gone";
  }
  std::ostringstream text;
  text << found.st_mode << ' ' << found.st_ino << ' ' << found.st_nlink << ' ' << found.st_size;
  for (const timespec& time : {found.st_mtim, found.st_ctim}) {
    text << ' ' << time.tv_sec << '.' << time.tv_nsec;
  }
  if (S_ISREG(found.st_mode) && found.st_size < 1'000'000) {
    text << ' ' << std::ifstream(path, std::ios::binary).rdbuf();
  }
  return text.str();
}

/// Everything beneath `top`, and itself, but for the folder `without`.
inline Snapshot snapshot(const std::filesystem::path& top,
                         const std::filesystem::path& without = {}) {
  namespace fs = std::filesystem;
  Snapshot entries{{top.string(), describe(top)}};
  constexpr auto options = fs::directory_options::skip_permission_denied;
  for (fs::recursive_directory_iterator entry(top, options), end; entry != end; ++entry) {
    if (entry->path() == without) {
      entry.disable_recursion_pending();
    } else {
      entries[entry->path().string()] = describe(entry->path());
    }
  }
  return entries;
}

} // namespace connector::test
