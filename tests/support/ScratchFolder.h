#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <ios>
#include <iterator>
#include <map>
#include <stdexcept>
#include <string>
#include <system_error>

namespace connector::test {

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
    return bytesOf(at(name));
  }

  /// Everything beneath the folder, to be compared before and after: relative path to contents for
  /// a file, to "-> target" for a link, to "/" for a folder, to "?" for all else.
  [[nodiscard]] std::map<std::string, std::string> disk() const {
    std::map<std::string, std::string> entries;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder_)) {
      entries[entry.path().lexically_relative(folder_).string()] = description(entry);
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

  static std::string bytesOf(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    if (!stream) {
      throw std::runtime_error("cannot read " + file.string());
    }
    return {std::istreambuf_iterator<char>(stream), {}};
  }

  static std::string description(const std::filesystem::directory_entry& entry) {
    if (entry.is_symlink()) {
      return "-> " + std::filesystem::read_symlink(entry.path()).string();
    }
    if (entry.is_directory()) {
      return "/";
    }
    return entry.is_regular_file() ? bytesOf(entry.path()) : "?";
  }

  std::filesystem::path folder_;
};

} // namespace connector::test
