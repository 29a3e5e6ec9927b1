#pragma once

#include <cerrno>
#include <chrono>
#include <cstddef>
#include <fcntl.h>
#include <posix/Descriptor.h>
#include <posix/Directory.h>
#include <posix/Identity.h>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace fl::filesystem::detail {

/// An alias, since `stat` is also the name of a function.
using stat_buffer = struct stat;

using namespace connector::posix;

/// Throws the exception of the FsysExceptionBase family for an errno.
[[noreturn]] void throw_errno(int code, const std::u16string& path);

/// Throws the exception for errno unless the system call succeeded.
inline void require(bool succeeded, const std::u16string& path) {
  if (!succeeded) {
    throw_errno(errno, path);
  }
}

/// Opens a file without waiting for a device or for the other end of a FIFO. If another process
/// holds a lease on a regular file, waits up to a second: the first attempt makes the kernel ask
/// that process to give it up. Returns no descriptor, with errno set, on failure.
inline Descriptor open_file(const std::string& name, int flags, mode_t mode = 0) {
  constexpr std::chrono::milliseconds pause{5};
  const auto open_once = [&] {
    return Descriptor(uninterrupted(
        [&] { return ::open(name.c_str(), flags | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, mode); }));
  };
  Descriptor opened = open_once();
  for (int left = 200; !opened.isOpen() && errno == EWOULDBLOCK && left > 0; --left) {
    std::this_thread::sleep_for(pause);
    opened = open_once();
  }
  return opened;
}

inline bool means_missing(int code) {
  return code == ENOENT || code == ENOTDIR;
}

/// Writes `count` bytes. Returns the number of bytes written; if it is less, errno has the reason.
inline std::size_t write_all(int target, const char* data, std::size_t count) {
  std::size_t written = 0;
  while (written < count) {
    const ssize_t more =
        uninterrupted([&] { return ::write(target, data + written, count - written); });
    if (more == 0) {
      errno = EIO; // the system gave no reason
    }
    if (more <= 0) {
      break;
    }
    written += static_cast<std::size_t>(more);
  }
  return written;
}

} // namespace fl::filesystem::detail
