#pragma once

#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <ios>
#include <iterator>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <sys/stat.h>
#include <time.h>

namespace connector::test {

/// Maps the path of an entry to its description.
using Disk = std::map<std::string, std::string>;

/// Returns the contents of a file, "" if it may not be read, "-> target" for a link, "/" for a
/// directory, and "?" for anything else.
inline std::string contentsOf(const std::filesystem::directory_entry& entry) {
  if (entry.is_symlink()) {
    return "-> " + std::filesystem::read_symlink(entry.path()).string();
  }
  if (!entry.is_regular_file()) {
    return entry.is_directory() ? "/" : "?";
  }
  std::ifstream stream(entry.path(), std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

/// Describes `top` and its entries, except the directory `without` and its entries, by their
/// contents and every attribute that shows a change. Does not read big files.
inline Disk snapshot(const std::filesystem::path& top, const std::filesystem::path& without = {}) {
  namespace fs = std::filesystem;
  Disk entries;
  const auto add = [&entries](const fs::directory_entry& entry) {
    struct stat found = {};
    std::ostringstream text;
    if (lstat(entry.path().c_str(), &found) == 0) {
      text << found.st_mode << ' ' << found.st_ino << ' ' << found.st_nlink << ' ' << found.st_size;
      for (const timespec& time : {found.st_mtim, found.st_ctim}) {
        text << ' ' << time.tv_sec << '.' << time.tv_nsec;
      }
      text << ' ' << (found.st_size < 1'000'000 ? contentsOf(entry) : "");
    }
    entries[entry.path().string()] = text.str();
  };
  add(fs::directory_entry(top));
  constexpr auto options = fs::directory_options::skip_permission_denied;
  for (fs::recursive_directory_iterator entry(top, options), end; entry != end; ++entry) {
    if (entry->path() == without) {
      entry.disable_recursion_pending();
    } else {
      add(*entry);
    }
  }
  return entries;
}

/// A fixture with a temporary directory.
class ScratchDirectory : public ::testing::Test {
protected:
  [[nodiscard]] const std::filesystem::path& directory() const { return directory_.path(); }

  /// Returns the absolute path of an entry.
  [[nodiscard]] std::filesystem::path at(const std::filesystem::path& name) const {
    return directory() / name;
  }

  /// Returns the same as the UTF-16 text that the code under test takes.
  [[nodiscard]] std::u16string textAt(const std::filesystem::path& name) const {
    return at(name).u16string();
  }

  /// Makes missing directories, too.
  std::filesystem::path writeFile(const std::filesystem::path& name,
                                  const std::string& contents = {}) {
    std::filesystem::path file = at(name);
    std::filesystem::create_directories(file.parent_path());
    if (!(std::ofstream(file, std::ios::binary) << contents).flush()) {
      throw std::runtime_error("cannot write " + file.string());
    }
    return file;
  }

  std::filesystem::path makeDirectory(const std::filesystem::path& name) {
    std::filesystem::create_directories(at(name));
    return at(name);
  }

  [[nodiscard]] std::string readFile(const std::filesystem::path& name) const {
    return contentsOf(std::filesystem::directory_entry(at(name)));
  }

  /// Returns the contents of all entries.
  [[nodiscard]] Disk disk() const {
    Disk entries;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(directory())) {
      entries[entry.path().lexically_relative(directory()).string()] = contentsOf(entry);
    }
    return entries;
  }

private:
  TemporaryDirectory directory_;
};

} // namespace connector::test
