#pragma once

#include <fl/filesystem/upath.h>

#include <boost/date_time/posix_time/posix_time_types.hpp>

#include <cstdint>
#include <string>

#pragma GCC visibility push(default)

/// Paths are received or absolute; a relative path starts in the current directory. Every function
/// throws an exception of the FsysExceptionBase family on failure, and FileNameConversionFailure if
/// a path cannot be converted to bytes. While a thread iterates over a directory, its `status`,
/// `exists` and `access` may look up the entries in the directory that the iterator opened.
namespace fl::filesystem {

/// Kind, size and time of a path at one moment. A missing path has size 0 and time 1970-01-01.
class file_status {
public:
  static bool exists(const file_status& st) noexcept { return st.kind_ != kind::missing; }

  static bool is_regular(const file_status& st) noexcept { return st.kind_ == kind::regular; }

  static bool is_directory(const file_status& st) noexcept { return st.kind_ == kind::directory; }

  /// The size in bytes.
  [[nodiscard]] std::uint64_t size() const noexcept { return size_; }

  /// UTC, with microseconds. Infinite if a ptime cannot hold the time.
  [[nodiscard]] boost::posix_time::ptime last_write_time() const noexcept {
    return last_write_time_;
  }

private:
  friend file_status status(const std::u16string& path);

  enum class kind : std::uint8_t { missing, regular, directory, other };

  kind kind_ = kind::missing;
  std::uint64_t size_ = 0;
  boost::posix_time::ptime last_write_time_{boost::gregorian::date(1970, 1, 1)};
};

/// Follows links. A path is missing if the system reports ENOENT or ENOTDIR, so a dangling link is
/// missing. A link that cannot be followed for another reason (a loop, a name that is too long, a
/// directory without search permission) exists: it is neither a regular file nor a directory, and
/// has size 0 and the link's own time.
file_status status(const std::u16string& path);

/// The same as file_status::exists(status(path)), but faster.
bool exists(const std::u16string& path);

/// Returns whether the process, with its effective ids, may read (2) or write (4) the path. False
/// for a missing path, for a link that cannot be followed, for writing on a read-only file system,
/// and if the confinement of the process denies it.
bool access(const std::u16string& path, unsigned mode);

/// Returns the absolute path of the process's current directory.
std::u16string get_current_path();

/// Prefixes a relative `path` with `base`. An empty `base` means the current directory; for an
/// empty `path` returns the base. Does not remove ".", ".." or repeated separators.
upath absolute(upath path, const std::u16string& base);

/// Creates one directory. FileExistsError if the path exists.
void create_directory(const std::u16string& path);

/// Creates a directory and its missing ancestors. Does not change an existing directory. A failure
/// half-way leaves the ancestors that were created.
void create_directories(const std::u16string& path);

/// Must be 0.
enum class rename_options : unsigned {};

/// Atomic; works only within one file system. FileExistsError if `to` exists, even as a dangling
/// link. On file systems that cannot rename without replacing, a file or empty directory that
/// appears at `to` during the call is replaced.
void rename(const std::u16string& from, const std::u16string& to, const rename_options& options);

/// Must be 0.
enum class copy_option : unsigned {};

/// Copies one regular file; follows a link at `from`. The copy gets the permission bits, access ACL
/// and modification time of the source, and its owner and group where the system permits. It never
/// grants more rights than the source. Holes stay holes.
///
/// FileExistsError if `to` exists, even as a dangling link. SystemError with EOPNOTSUPP if `from`
/// is a special file; the call does not wait for it. SystemError with EBUSY if the source changes
/// during the copy, if another file takes its path, or if its reported size is wrong. A failed copy
/// removes its partial target.
void copy(const std::u16string& from, const std::u16string& to, copy_option option);

/// Removes one file, link or empty directory. PathNotFound if the path is missing.
void remove(const std::u16string& path);

/// Removes a file, a link itself, or a directory with everything in it. Follows no link below the
/// parent of `path`, not even one that replaces a directory during the call. The number of open
/// descriptors is bounded, independent of the depth of the tree. A missing path, or an entry that
/// another process removes, is not a failure. SystemError with EINVAL, before anything is removed,
/// if the path is "/" or its last component is "." or "..". A failure half-way leaves the rest.
void remove_all(const std::u16string& path);

} // namespace fl::filesystem

#pragma GCC visibility pop
