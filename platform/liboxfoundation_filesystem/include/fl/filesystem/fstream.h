#pragma once

#include <array>
#include <istream>
#include <ostream>
#include <string>

#pragma GCC visibility push(default)

namespace fl::filesystem {

/// Sharing flag: other processes may read and write the file meanwhile. The only mode there is on
/// POSIX systems; any flag is accepted.
constexpr int share_read_write = 0x40;

/// A descriptor as a stream buffer. What is written goes to the system at once, so a write that
/// the disk refuses fails at that write, with errno telling why. A read that the disk refuses
/// throws, which a stream turns into its badbit, with errno telling why. Opening never waits for a
/// FIFO's other end. Descriptors are close-on-exec. Like every stream, one thread at a time.
class file_buf : public std::streambuf {
public:
  file_buf() = default;
  ~file_buf() override;
  file_buf(const file_buf&) = delete;
  file_buf& operator=(const file_buf&) = delete;

  [[nodiscard]] bool is_open() const noexcept { return descriptor_ >= 0; }

  /// `name` is in native form. `in` reads an existing file; `out` creates a missing one, and
  /// empties an existing one only with `trunc`. False, with errno set, when the system refuses.
  bool open(const std::string& name, std::ios_base::openmode mode);
  bool open(const char* name, std::ios_base::openmode mode);

  /// False, with errno set, when the buffer is not open or the system reports a failure; the
  /// descriptor is gone in any case.
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
  int descriptor_ = -1;
  off_type sought_ = -1;            // where the last seek has led, until a byte is read or written
  std::array<char, 512> lookahead_; // NOLINT(*-member-init): filled before it is looked at
};

/// Opens in its constructor; a refused open only sets the failbit and leaves errno.
class ifstream : public std::istream {
public:
  /// `path` is UTF-16, received or absolute. Throws FileNameConversionFailure.
  ifstream(const std::u16string& path, std::ios_base::openmode mode, int sharing);

  [[nodiscard]] bool is_open() const noexcept { return buffer_.is_open(); }

  /// Sets the failbit when the system reports a failure.
  void close();

private:
  file_buf buffer_;
};

/// As ifstream, for writing; the name is in native form.
class ofstream : public std::ostream {
public:
  ofstream(const std::string& native_name, std::ios_base::openmode mode, int sharing);

  [[nodiscard]] bool is_open() const noexcept { return buffer_.is_open(); }

  /// Sets the failbit when the system reports a failure.
  void close();

private:
  file_buf buffer_;
};

} // namespace fl::filesystem

#pragma GCC visibility pop
