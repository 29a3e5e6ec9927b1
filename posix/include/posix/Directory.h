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

/// Takes over the descriptor on success. Returns null, with errno set, otherwise.
inline DirectoryStream toDirectoryStream(Descriptor& opened) {
  DirectoryStream stream(opened.isOpen() ? ::fdopendir(opened.get()) : nullptr);
  if (stream != nullptr) {
    static_cast<void>(opened.release());
  }
  return stream;
}

inline bool isDotOrDotDot(std::string_view name) {
  return name == "." || name == "..";
}

/// Returns the next entry other than "." and "..". Returns null at the end, with errno 0, and on
/// failure, with its errno.
inline const dirent* nextEntry(DIR* stream) {
  const dirent* entry = nullptr;
  do {
    errno = 0;
    entry = ::readdir(stream); // NOLINT(concurrency-mt-unsafe): no two threads share a stream here
  } while (entry != nullptr && isDotOrDotDot(entry->d_name));
  return entry;
}

} // namespace connector::posix
