#pragma once

#include <memory>
#include <string>
#include <utility>

#pragma GCC visibility push(default)

namespace fl::filesystem {

namespace detail {
class upath_directory_iterator_impl;
}

/// One entry of a folder.
class upath_directory_entry {
public:
  upath_directory_entry() = default;

  explicit upath_directory_entry(std::u16string filename)
      : filename_(std::move(filename)) {}

  /// The entry's name, one component, in its one UTF-16 form.
  [[nodiscard]] const std::u16string& filename() const noexcept { return filename_; }

private:
  friend class detail::upath_directory_iterator_impl;

  std::u16string filename_;
};

namespace detail {

/// Walks the entries of one folder in the system's order; "." and ".." are not yielded. It stands
/// on the first entry once constructed. The descriptor is closed as soon as the end is reached, or,
/// when another thread walked there before, as soon as that one walks elsewhere.
class upath_directory_iterator_impl {
public:
  /// Not open when the path is empty, missing or no folder; throws a member of the
  /// FsysExceptionBase family for a folder that exists and cannot be read. `mode` must be 0;
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
