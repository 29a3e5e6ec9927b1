#pragma once

#include <cerrno>
#include <dirent.h>
#include <memory>
#include <posix/Descriptor.h>
#include <string_view>

namespace connector::posix {

struct DirectoryCloser {
  void operator()(DIR* stream) const noexcept { ::closedir(stream); }
};

using DirectoryStream = std::unique_ptr<DIR, DirectoryCloser>;

/// Takes ownership on success. Returns null if fdopendir fails, with its errno, or if `descriptor`
/// is not open, with errno unchanged.
inline DirectoryStream toDirectoryStream(Descriptor& descriptor) {
  DirectoryStream stream(descriptor.isOpen() ? ::fdopendir(descriptor.get()) : nullptr);
  if (stream != nullptr) {
    static_cast<void>(descriptor.release());
  }
  return stream;
}

inline bool isDotOrDotDot(std::string_view name) {
  return name == "." || name == "..";
}

/// Returns the next entry except "." and "..". Returns null with errno 0 at the end, and null with
/// another errno on failure.
inline const dirent* nextEntry(DIR* stream) {
  const dirent* entry = nullptr;
  do {
    errno = 0;
    entry = ::readdir(stream); // NOLINT(concurrency-mt-unsafe): threads do not share streams
  } while (entry != nullptr && isDotOrDotDot(entry->d_name));
  return entry;
}

} // namespace connector::posix
