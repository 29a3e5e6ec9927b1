#pragma once

#include <memory>
#include <string>

#pragma GCC visibility push(default)

namespace fl::filesystem {

namespace detail {
class upath_directory_iterator_impl;
}

/// One entry of a directory.
class upath_directory_entry {
public:
  /// The entry's name, one component, in its one UTF-16 form.
  [[nodiscard]] const std::u16string& filename() const noexcept { return filename_; }

private:
  friend class detail::upath_directory_iterator_impl;

  std::u16string filename_;
};

namespace detail {

/// Iterates over the entries of one directory in the system's order, without "." and "..". A new
/// iterator is at the first entry. It keeps no descriptor after the end, unless another thread
/// advanced it before, which then keeps it until it iterates over another directory.
class upath_directory_iterator_impl {
public:
  /// Not open if the path is empty, missing or not a directory. Throws an exception of the
  /// FsysExceptionBase family for a directory that exists and cannot be read. `mode` must be 0;
  /// `flag` has no effect.
  upath_directory_iterator_impl(const std::u16string& path, unsigned mode, bool flag);
  ~upath_directory_iterator_impl();
  upath_directory_iterator_impl(const upath_directory_iterator_impl&) = delete;
  upath_directory_iterator_impl& operator=(const upath_directory_iterator_impl&) = delete;

  /// False at the end.
  [[nodiscard]] bool is_open() const noexcept;

  /// The current entry. Only while open.
  [[nodiscard]] const upath_directory_entry& entry() const noexcept;

  /// Goes to the next entry. Only while open; throws when the system cannot read on.
  void increment();

private:
  class stream;
  std::unique_ptr<stream> stream_;
  upath_directory_entry entry_;
};

} // namespace detail

} // namespace fl::filesystem

#pragma GCC visibility pop
