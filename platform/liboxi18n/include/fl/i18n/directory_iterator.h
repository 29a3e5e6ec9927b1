#pragma once

#include <memory>
#include <string>

#pragma GCC visibility push(default)

namespace fl::filesystem {

namespace detail {
class upath_directory_iterator_impl;
struct iterated_directory;
} // namespace detail

/// One entry of a directory.
class upath_directory_entry {
public:
  /// The name of the entry, without the directory.
  [[nodiscard]] const std::u16string& filename() const noexcept { return filename_; }

private:
  friend class detail::upath_directory_iterator_impl;

  std::u16string filename_;
};

namespace detail {

/// Iterates over the entries of one directory in no particular order, without "." and "..". A new
/// iterator is at the first entry. It closes the directory at the end.
class upath_directory_iterator_impl {
public:
  /// The new iterator is not open if the path is empty, missing or not a directory. Throws an
  /// exception of the FsysExceptionBase family if the directory exists but cannot be read. `mode`
  /// must be 0; `flag` has no effect.
  upath_directory_iterator_impl(const std::u16string& path, unsigned mode, bool flag);
  ~upath_directory_iterator_impl();
  upath_directory_iterator_impl(const upath_directory_iterator_impl&) = delete;
  upath_directory_iterator_impl& operator=(const upath_directory_iterator_impl&) = delete;

  /// Returns false at the end.
  [[nodiscard]] bool is_open() const noexcept;

  /// The current entry. Call only while open.
  [[nodiscard]] const upath_directory_entry& entry() const noexcept;

  /// Advances to the next entry. Call only while open. Throws if reading the directory fails.
  void increment();

private:
  std::shared_ptr<iterated_directory> directory_;
  upath_directory_entry entry_;
};

} // namespace detail

} // namespace fl::filesystem

#pragma GCC visibility pop
