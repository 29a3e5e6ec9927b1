#pragma once

#include <istream>
#include <memory>
#include <ostream>
#include <string>

#pragma GCC visibility push(default)

namespace fl::filesystem {

namespace detail {
class file_buf;
}

// The streams have no buffer, so a write fails immediately if the disk rejects it. They support
// `read`, `write` and seeking, but not single characters. A failed open sets the failbit, a failed
// read or write the badbit; errno has the reason. Of `mode`, only `trunc` has an effect. `sharing`
// is ignored: on POSIX systems, other processes may always use the file meanwhile.

/// Reads an existing file.
class ifstream : public std::istream {
public:
  /// `path` is UTF-16, received or absolute. Throws FileNameConversionFailure.
  ifstream(const std::u16string& path, std::ios_base::openmode mode, int sharing);
  ~ifstream() override;
  ifstream(const ifstream&) = delete;
  ifstream& operator=(const ifstream&) = delete;

private:
  std::unique_ptr<detail::file_buf> buffer_;
};

/// Writes a file, from its beginning. Creates a missing file; empties an existing one only with
/// `trunc`. Opening this process's standard output (except /dev/null) or an unnamed pipe fails with
/// EBUSY.
class ofstream : public std::ostream {
public:
  /// `native_name` is the result of make_native_access_form_i18n.
  ofstream(const std::string& native_name, std::ios_base::openmode mode, int sharing);
  ~ofstream() override;
  ofstream(const ofstream&) = delete;
  ofstream& operator=(const ofstream&) = delete;

  [[nodiscard]] bool is_open() const noexcept;

  /// Sets the failbit if the system reports a failure.
  void close();

private:
  std::unique_ptr<detail::file_buf> buffer_;
};

} // namespace fl::filesystem

#pragma GCC visibility pop
