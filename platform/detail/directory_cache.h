#pragma once

#include "native_name.h"

#include <atomic>
#include <memory>
#include <string>
#include <string_view>

namespace fl::filesystem::detail {

/// A directory that a thread iterates over. Until it is left, and until the thread iterates over
/// another one, `status`, `exists` and `access` of that thread look up its entries in it.
struct iterated_directory {
  std::u16string path;
  int descriptor; ///< open for reading as long as the object lives
  std::atomic<bool> is_left{false};
};

/// Makes it the directory that the calling thread iterates over. Has no effect for a relative path.
void iterate_over(const std::shared_ptr<const iterated_directory>& directory);

/// For any thread. The thread that iterated over it keeps the object until it iterates over
/// another one.
void leave(iterated_directory& directory);

/// The directory and the name with which a system call looks up a path: the calling thread's
/// iterated directory for one of its entries, else the current directory. Throws as
/// utf16_to_native.
class place {
public:
  explicit place(const std::u16string& path)
      : place(path, start_of(path)) {}

  [[nodiscard]] int directory() const noexcept { return directory_; }

  [[nodiscard]] const char* name() const noexcept { return name_.c_str(); }

private:
  struct start {
    int directory;
    std::u16string_view name; // relative to it
  };

  static start start_of(std::u16string_view path) noexcept;

  place(const std::u16string& path, const start& from)
      : directory_(from.directory)
      , name_(from.name, path) {}

  int directory_;
  native_path name_;
};

} // namespace fl::filesystem::detail
