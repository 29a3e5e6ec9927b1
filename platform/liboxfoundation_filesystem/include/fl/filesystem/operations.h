#pragma once

#include <fl/filesystem/upath.h>

#include <boost/date_time/posix_time/posix_time_types.hpp>

#include <cstdint>
#include <string>

#pragma GCC visibility push(default)

namespace fl::filesystem {

// Paths are received or absolute; the system resolves a relative one against the current directory.
// Every function throws an exception of the FsysExceptionBase family when the system refuses, and
// FileNameConversionFailure for a path that cannot be turned into bytes. While a thread iterates
// over a directory, its `status`, `exists` and `access` may look up the entries in the directory
// that the iterator opened.

/// Kind, size and time of a path at one moment. A missing path has size 0 and time 1970-01-01.
class file_status {
public:
  static bool exists(const file_status& st) noexcept { return st.kind_ != kind::missing; }

  static bool is_regular(const file_status& st) noexcept { return st.kind_ == kind::regular; }

  static bool is_directory(const file_status& st) noexcept { return st.kind_ == kind::directory; }

  /// In bytes.
  [[nodiscard]] std::uint64_t size() const noexcept { return size_; }

  /// UTC, in microseconds; an infinity when the system's time is beyond what ptime can hold.
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

/// Follows links; one system call in the ordinary case. A path is missing if the system reports
/// ENOENT or ENOTDIR, so a dangling link is missing. A link that cannot be followed for another
/// reason (a loop, a name that is too long, a directory that may not be searched) exists: its kind
/// is `other`, its size 0, and its time the link's own.
file_status status(const std::u16string& path);

/// As file_status::exists of the path's status, but cheaper.
bool exists(const std::u16string& path);

/// Whether the process, by its effective ids, may read (2) or write (4) the path. False for a
/// missing path, a link that cannot be followed, for writing on a read-only file system, and where
/// the confinement of the process denies it.
bool access(const std::u16string& path, unsigned mode);

/// The process's current directory, absolute.
std::u16string get_current_path();

/// `path` prefixed by `base` if relative. An empty `base` is the current directory, and an empty
/// `path` gives the base itself. Does not remove "." and ".." or repeated separators.
upath absolute(upath path, const std::u16string& base);

/// Creates one directory. FileExistsError if the path exists.
void create_directory(const std::u16string& path);

/// Creates a directory and its missing ancestors. An existing directory stays unchanged. A failure
/// half-way leaves the ancestors made so far.
void create_directories(const std::u16string& path);

/// Only the value 0 is known.
enum class rename_options : unsigned {};

/// Atomic within one file system. FileExistsError if anything is at `to`, also a dangling link. On
/// file systems that cannot rename without replacing, a file or an empty directory that appears at
/// `to` during the call is replaced.
void rename(const std::u16string& from, const std::u16string& to, const rename_options& options);

/// Only the value 0 is known.
enum class copy_option : unsigned {};

/// Copies one regular file, following links at `from`. The copy gets the permission bits, access
/// ACL and modification time of the source, and its owner and group where the system permits; it
/// never grants more than the source does. Holes stay holes.
///
/// FileExistsError if anything is at `to`, also a dangling link. SystemError with EOPNOTSUPP if
/// `from` is a special file, which is refused without waiting for it. SystemError with EBUSY if the
/// source changes meanwhile, if another file takes its path, or if its size is not the number of
/// its bytes. A copy that fails removes its partial target.
void copy(const std::u16string& from, const std::u16string& to, copy_option option);

/// Removes one file, link or empty directory. PathNotFound if the path is missing.
void remove(const std::u16string& path);

/// Removes a file, a link itself, or a directory with everything beneath it. No link is followed
/// below the parent of `path`, also not one that is put in place of a directory meanwhile. The
/// number of open descriptors is bounded, however deep the tree. A path that is missing, or an
/// entry that vanishes meanwhile, is not a failure. SystemError with EINVAL, and nothing removed,
/// if the last component is a root, "." or "..". A failure half-way leaves the rest.
void remove_all(const std::u16string& path);

} // namespace fl::filesystem

#pragma GCC visibility pop
