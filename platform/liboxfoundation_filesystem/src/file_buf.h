#pragma once

#include "posix.h"

#include <array>
#include <ios>
#include <streambuf>
#include <string>

namespace fl::filesystem::detail {

/// A stream buffer on a descriptor. Passes written bytes to the system at once, so a failed write
/// is reported immediately. A failed read throws, and the stream then sets its badbit. errno has
/// the reason in both cases. The descriptor is close-on-exec. Not thread-safe.
class file_buf : public std::streambuf {
public:
  file_buf() = default;
  ~file_buf() override = default;
  file_buf(const file_buf&) = delete;
  file_buf& operator=(const file_buf&) = delete;

  [[nodiscard]] bool is_open() const noexcept { return file_.isOpen(); }

  /// `in` opens an existing file; `out` creates a missing one, and empties an existing one only
  /// with `trunc`. Waits like `open_file`. Returns false with errno set on failure. Writing to this
  /// process's standard output (except /dev/null) or to an unnamed pipe fails with EBUSY, before
  /// the file is emptied. Call at most once.
  bool open(const std::string& name, std::ios_base::openmode mode);

  /// Returns false with errno set if the buffer is not open or the system reports a failure. Closes
  /// the descriptor in any case.
  bool close();

protected:
  int_type underflow() override;
  std::streamsize xsgetn(char* data, std::streamsize count) override;
  int_type overflow(int_type character) override;
  std::streamsize xsputn(const char* data, std::streamsize count) override;
  pos_type seekoff(off_type offset, std::ios_base::seekdir way,
                   std::ios_base::openmode which) override;
  pos_type seekpos(pos_type position, std::ios_base::openmode which) override;

private:
  descriptor file_{-1};
  off_type sought_ = -1;            // the result of the last seek; -1 after a read or write
  std::array<char, 512> lookahead_; // NOLINT(*-member-init): filled before it is read
};

} // namespace fl::filesystem::detail
