#pragma once

#include <cerrno>
#include <chrono>
#include <cstddef>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <posix/Descriptor.h>
#include <posix/Identity.h>
#include <string_view>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace fl::filesystem::detail {

/// For short: `stat` is also a function.
using stat_buffer = struct stat;

using connector::posix::isSameFile;
using connector::posix::uninterrupted;
using descriptor = connector::posix::Descriptor;

struct directory_closer {
  void operator()(DIR* stream) const noexcept { ::closedir(stream); }
};

using directory_stream = std::unique_ptr<DIR, directory_closer>;

/// Takes over the descriptor on success; null, with errno set, otherwise.
inline directory_stream to_directory_stream(descriptor& opened) {
  directory_stream stream(opened.isOpen() ? ::fdopendir(opened.get()) : nullptr);
  if (stream != nullptr) {
    static_cast<void>(opened.release());
  }
  return stream;
}

inline bool is_dot_or_dot_dot(std::string_view name) {
  return name == "." || name == "..";
}

/// The next entry other than "." and "..". Null at the end, with errno 0, and on failure, with its
/// errno.
inline const dirent* next_entry(DIR* stream) {
  const dirent* entry = nullptr;
  do {
    errno = 0;
    entry = ::readdir(stream); // NOLINT(concurrency-mt-unsafe): no two threads share a stream here
  } while (entry != nullptr && is_dot_or_dot_dot(entry->d_name));
  return entry;
}

/// Opens without waiting for the other end of a FIFO or for a device. Waits only for another
/// process to give up its lease on a regular file, for up to a second: the first attempt makes the
/// system ask for it. Returns -1 with errno set if the system refuses.
inline int open_file(const char* name, int flags, mode_t mode = 0) {
  constexpr std::chrono::milliseconds pause{5};
  const auto open_once = [=] {
    return uninterrupted(
        [=] { return ::open(name, flags | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, mode); });
  };
  int opened = open_once();
  for (int left = 200; opened < 0 && errno == EWOULDBLOCK && left > 0; --left) {
    std::this_thread::sleep_for(pause);
    opened = open_once();
  }
  return opened;
}

/// Whether an errno means that a path is missing.
inline bool means_missing(int code) {
  return code == ENOENT || code == ENOTDIR;
}

/// Writes until everything is written or the system refuses. Returns how many bytes were written;
/// if not all, errno has the reason.
inline std::size_t write_all(int target, const char* data, std::size_t count) {
  std::size_t written = 0;
  while (written < count) {
    const ssize_t more =
        uninterrupted([&] { return ::write(target, data + written, count - written); });
    if (more == 0) {
      errno = EIO; // The system gives no reason.
    }
    if (more <= 0) {
      break;
    }
    written += static_cast<std::size_t>(more);
  }
  return written;
}

} // namespace fl::filesystem::detail
