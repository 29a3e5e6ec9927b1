#pragma once

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

namespace connector::test {

/// An empty directory beneath TMPDIR that any user may enter. The destructor removes it.
class TemporaryDirectory {
public:
  TemporaryDirectory() {
    std::string name = std::filesystem::canonical(std::filesystem::temp_directory_path()) /
                       "connector-test-XXXXXX";
    if (mkdtemp(name.data()) == nullptr) {
      throw std::system_error(errno, std::generic_category(), name);
    }
    path_ = name;
    // mkdtemp makes it 0700, but some tests run as another user.
    std::filesystem::permissions(path_, std::filesystem::perms{0755});
  }

  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

  ~TemporaryDirectory() {
    namespace fs = std::filesystem;
    std::error_code ignored; // an entry that cannot be deleted does not fail a test
    for (fs::recursive_directory_iterator entry(path_, ignored), end; entry != end;
         entry.increment(ignored)) {
      if (entry->symlink_status(ignored).type() == fs::file_type::directory) {
        fs::permissions(entry->path(), fs::perms::owner_all, fs::perm_options::add, ignored);
      }
    }
    fs::remove_all(path_, ignored);
  }

  /// Returns an absolute path without links.
  [[nodiscard]] const std::filesystem::path& path() const { return path_; }

private:
  std::filesystem::path path_;
};

} // namespace connector::test
