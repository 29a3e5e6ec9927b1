#pragma once

#include "posix.h"

#include <array>
#include <ios>
#include <streambuf>
#include <string>

namespace fl::filesystem::detail {

/// A descriptor as a stream buffer. Bytes that are written go to the system at once, so a write
/// that the disk refuses fails at that write, with errno as the reason. A read that the disk
/// refuses throws, which a stream turns into its badbit, with errno as the reason. Opening waits
/// neither for a FIFO's other end nor, for more than a second, for another process to give up its
/// lease on the file. Descriptors are close-on-exec. Not thread-safe.
class file_buf : public std::streambuf {
public:
  file_buf() = default;
  ~file_buf() override = default;
  file_buf(const file_buf&) = delete;
  file_buf& operator=(const file_buf&) = delete;

  [[nodiscard]] bool is_open() const noexcept { return file_.isOpen(); }

  /// `in` reads an existing file; `out` creates a missing one, and empties an existing one only
  /// with `trunc`. Returns false with errno set if the system refuses. Writing on this process's
  /// standard output (unless that is /dev/null) and on a pipe that no directory holds is refused
  /// with EBUSY, before the file is emptied.
  bool open(const std::string& name, std::ios_base::openmode mode);
  bool open(const char* name, std::ios_base::openmode mode);

  /// False, with errno set, if the buffer is not open or the system reports a failure. The
  /// descriptor is closed in any case.
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
  off_type sought_ = -1;            // where the last seek has led, until a byte is read or written
  std::array<char, 512> lookahead_; // NOLINT(*-member-init): filled before it is read
};

} // namespace fl::filesystem::detail
