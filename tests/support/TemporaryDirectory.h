#pragma once

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

namespace connector::test {

/// An empty directory beneath TMPDIR, which any user may enter. It is removed with this object.
class TemporaryDirectory {
public:
  TemporaryDirectory() {
    std::string name = std::filesystem::canonical(std::filesystem::temp_directory_path()) /
                       "connector-test-XXXXXX";
    if (mkdtemp(name.data()) == nullptr) {
      throw std::system_error(errno, std::generic_category(), name);
    }
    path_ = name;
    // The 0700 of mkdtemp would keep out the unprivileged user whom a test drops to.
    std::filesystem::permissions(path_, std::filesystem::perms{0755});
  }

  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

  ~TemporaryDirectory() {
    namespace fs = std::filesystem;
    std::error_code ignored; // Entries that a test leaves undeletable do not fail it.
    for (fs::recursive_directory_iterator entry(path_, ignored), end; entry != end;
         entry.increment(ignored)) {
      if (entry->symlink_status(ignored).type() == fs::file_type::directory) {
        fs::permissions(entry->path(), fs::perms::owner_all, fs::perm_options::add, ignored);
      }
    }
    fs::remove_all(path_, ignored);
  }

  /// Absolute, without links in it.
  [[nodiscard]] const std::filesystem::path& path() const { return path_; }

private:
  std::filesystem::path path_;
};

} // namespace connector::test
