#pragma once

#include "native_path.h"

#include <string>
#include <string_view>

namespace fl::filesystem::detail {

/// Where the system is to look a path up: from the current folder or the root, or, an entry of the
/// folder that this thread is walking, there. For one system call. Throws as utf16_to_native.
class place {
public:
  explicit place(const std::u16string& path)
      : place(path, start_of(path)) {}

  [[nodiscard]] int folder() const noexcept { return folder_; }

  [[nodiscard]] const char* name() const noexcept { return name_.c_str(); }

private:
  struct start {
    int folder;
    std::u16string_view name; // from there on
  };

  static start start_of(std::u16string_view path) noexcept;

  place(const std::u16string& path, const start& from)
      : folder_(from.folder)
      , name_(from.name, path) {}

  int folder_;
  native_path name_;
};

} // namespace fl::filesystem::detail
