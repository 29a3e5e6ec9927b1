#pragma once

#include "native_path.h"

#include <fl/filesystem/walked_folder.h>

#include <fcntl.h>
#include <memory>
#include <string>

namespace fl::filesystem::detail {

/// Where the system is to look a path up: from the current folder or the root, or, an entry of the
/// folder that this thread is walking, there. Throws as utf16_to_native.
class place {
public:
  explicit place(const std::u16string& path);

  [[nodiscard]] int folder() const noexcept {
    return folder_ != nullptr ? folder_->descriptor : AT_FDCWD;
  }

  [[nodiscard]] const char* name() const noexcept { return name_.c_str(); }

private:
  std::shared_ptr<const walked_folder> folder_; // kept open meanwhile
  native_path name_;
};

} // namespace fl::filesystem::detail
