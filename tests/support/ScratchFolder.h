#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <ios>
#include <iterator>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <sys/stat.h>
#include <system_error>
#include <time.h>

namespace connector::test {

/// Relative path to a description of what is there.
using Disk = std::map<std::string, std::string>;

/// The contents of a file, "" if it may not be read; "-> target" for a link, "/" for a directory,
/// "?" for all else.
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

/// The same for `top` and everything beneath it except the directory `without`, with all that shows
/// a change. Big files are not read: their times show it, too.
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

/// Fixture with an empty folder of its own, which any user may enter and which goes away with it.
class ScratchFolder : public ::testing::Test {
protected:
  ScratchFolder()
      : folder_(make()) {}

  ~ScratchFolder() override {
    namespace fs = std::filesystem;
    std::error_code ignored; // What a test leaves undeletable is no failure of the test.
    for (fs::recursive_directory_iterator entry(folder_, ignored), end; entry != end;
         entry.increment(ignored)) {
      if (entry->symlink_status(ignored).type() == fs::file_type::directory) {
        fs::permissions(entry->path(), fs::perms::owner_all, fs::perm_options::add, ignored);
      }
    }
    fs::remove_all(folder_, ignored);
  }

public:
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

protected:
  /// Absolute, without links in it.
  [[nodiscard]] const std::filesystem::path& folder() const { return folder_; }

  /// Where `name`, a relative path, is beneath the folder.
  [[nodiscard]] std::filesystem::path at(const std::filesystem::path& name) const {
    return folder_ / name;
  }

  /// The same as the UTF-16 text that the code under test takes.
  [[nodiscard]] std::u16string textAt(const std::filesystem::path& name) const {
    return at(name).u16string();
  }

  /// Makes missing parent folders too.
  std::filesystem::path writeFile(const std::filesystem::path& name,
                                  const std::string& contents = {}) {
    std::filesystem::path file = at(name);
    std::filesystem::create_directories(file.parent_path());
    if (!(std::ofstream(file, std::ios::binary) << contents).flush()) {
      throw std::runtime_error("cannot write " + file.string());
    }
    return file;
  }

  std::filesystem::path makeFolder(const std::filesystem::path& name) {
    std::filesystem::create_directories(at(name));
    return at(name);
  }

  [[nodiscard]] std::string readFile(const std::filesystem::path& name) const {
    if (!std::filesystem::is_regular_file(at(name))) {
      throw std::runtime_error("no file " + at(name).string());
    }
    return contentsOf(std::filesystem::directory_entry(at(name)));
  }

  /// The contents of everything beneath the folder.
  [[nodiscard]] Disk disk() const {
    Disk entries;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder_)) {
      entries[entry.path().lexically_relative(folder_).string()] = contentsOf(entry);
    }
    return entries;
  }

private:
  static std::filesystem::path make() {
    std::string name = std::filesystem::canonical(std::filesystem::temp_directory_path()) /
                       "connector-test-XXXXXX";
    if (mkdtemp(name.data()) == nullptr) {
      throw std::system_error(errno, std::generic_category(), name);
    }
    // mkdtemp's own 0700 would keep out the unprivileged user whom a test drops to.
    std::filesystem::permissions(name, std::filesystem::perms{0755});
    return name;
  }

  std::filesystem::path folder_;
};

} // namespace connector::test
