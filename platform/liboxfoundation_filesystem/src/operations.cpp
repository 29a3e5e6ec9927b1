#include "confined.h"
#include "directory_cache.h"
#include "native_name.h"
#include "posix.h"

#include <fl/filesystem/operations.h>
#include <fl/filesystem/path.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <limits>
#include <memory>
#include <string>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace fl::filesystem {

namespace {

namespace posix_time = boost::posix_time;

using detail::means_missing;

// Modes of `access`.
constexpr unsigned ACCESS_READ = 2;
constexpr unsigned ACCESS_WRITE = 4;

// A ptime is a 64-bit number of microseconds since Julian day 0. Up to FURTHEST_SECOND seconds
// before or after 1970, neither the ptime nor its distance from 1970 overflows.
constexpr std::int64_t JULIAN_DAY_OF_1970 = 2'440'588;
constexpr std::int64_t FURTHEST_SECOND =
    std::numeric_limits<std::int64_t>::max() / 1'000'000 - JULIAN_DAY_OF_1970 * 86'400 - 1;

posix_time::ptime to_ptime(const timespec& time) {
  if (time.tv_sec > FURTHEST_SECOND) {
    return posix_time::pos_infin;
  }
  if (time.tv_sec < -FURTHEST_SECOND) {
    return posix_time::neg_infin;
  }
  static const posix_time::ptime epoch(boost::gregorian::date(1970, 1, 1));
  // tv_nsec is never negative, not even before 1970.
  const std::int64_t microseconds = time.tv_sec * std::int64_t{1'000'000} + time.tv_nsec / 1000;
  return epoch + posix_time::microseconds(microseconds);
}

bool means_denied(int code) {
  return code == EACCES || code == EPERM || code == EROFS;
}

/// Call after a system call that follows links has failed. Returns the status of the link at the
/// path. Throws the errno of that call if the path is not a link.
detail::stat_buffer status_of_link(const detail::lookup& lookup, const std::u16string& path) {
  const int code = errno;
  std::string name = lookup.name;
  name.erase(name.find_last_not_of('/') +
             1); // with a separator at the end, fstatat follows the link
  detail::stat_buffer found{};
  if (::fstatat(lookup.directory, name.c_str(), &found, AT_SYMLINK_NOFOLLOW) != 0 ||
      !S_ISLNK(found.st_mode)) {
    detail::throw_errno(code, path);
  }
  return found;
}

/// Returns 0, or -1 with errno set. Some network and FUSE file systems and old kernels lack
/// RENAME_NOREPLACE. On these, a target that appears between lstat and rename is replaced.
int rename_without_replacing(const char* source, const char* target) {
  const int result = ::renameat2(AT_FDCWD, source, AT_FDCWD, target, RENAME_NOREPLACE);
  if (result == 0 || (errno != EINVAL && errno != ENOSYS)) {
    return result;
  }
  detail::stat_buffer found{};
  if (::lstat(target, &found) == 0) {
    errno = EEXIST;
    return -1;
  }
  return means_missing(errno) ? ::rename(source, target) : -1;
}

} // namespace

file_status status(const std::u16string& path) {
  file_status result;
  detail::stat_buffer found{};
  const auto lookup = detail::lookup_for(path);
  using kind = file_status::kind;
  if (::fstatat(lookup.directory, lookup.name.c_str(), &found, 0) == 0) {
    result.kind_ = S_ISREG(found.st_mode)   ? kind::regular
                   : S_ISDIR(found.st_mode) ? kind::directory
                                            : kind::other;
    result.size_ = static_cast<std::uint64_t>(found.st_size);
    result.last_write_time_ = to_ptime(found.st_mtim);
  } else if (!means_missing(errno)) {
    result.kind_ = kind::other;
    result.last_write_time_ = to_ptime(status_of_link(lookup, path).st_mtim);
  }
  return result;
}

bool exists(const std::u16string& path) {
  const auto lookup = detail::lookup_for(path);
  // Not `stat`: listing 3,000 entries would take 4 % longer.
  if (::faccessat(lookup.directory, lookup.name.c_str(), F_OK, AT_EACCESS) == 0) {
    return true;
  }
  if (means_missing(errno)) {
    return false;
  }
  static_cast<void>(status_of_link(lookup, path));
  return true;
}

bool access(const std::u16string& path, unsigned mode) {
  const int wanted =
      ((mode & ACCESS_READ) != 0 ? R_OK : 0) | ((mode & ACCESS_WRITE) != 0 ? W_OK : 0);
  const auto lookup = detail::lookup_for(path);
  const char* const name = lookup.name.c_str();
  if (::faccessat(lookup.directory, name, wanted, AT_EACCESS) == 0) {
    return !detail::is_denied(lookup.directory, name, (wanted & W_OK) != 0);
  }
  if (!means_denied(errno) && !means_missing(errno)) {
    static_cast<void>(status_of_link(lookup, path));
  }
  return false;
}

std::u16string get_current_path() {
  const std::unique_ptr<char, decltype(&std::free)> directory(::getcwd(nullptr, 0), &std::free);
  detail::require(directory != nullptr, u".");
  return detail::native_to_utf16(directory.get());
}

upath absolute(upath path, const std::u16string& base) {
  if (!path.string().empty() && path.string().front() == u'/') {
    return path;
  }
  std::u16string result = base.empty() ? get_current_path() : base;
  if (!path.string().empty()) {
    detail::concatenate_pathname(result, path, true);
  }
  return upath(std::move(result));
}

void create_directory(const std::u16string& path) {
  constexpr mode_t all = 0777; // the umask removes some
  detail::require(::mkdir(detail::utf16_to_native(path).c_str(), all) == 0, path);
}

void create_directories(const std::u16string& path) {
  std::error_code error;
  std::filesystem::create_directories(detail::utf16_to_native(path), error);
  if (error == std::errc::not_a_directory && exists(path)) {
    detail::throw_errno(EEXIST, path);
  }
  if (error) {
    detail::throw_errno(error.value(), path);
  }
}

void rename(const std::u16string& from, const std::u16string& to,
            const rename_options& /*options*/) {
  const std::string source = detail::utf16_to_native(from);
  const std::string target = detail::utf16_to_native(to);
  if (rename_without_replacing(source.c_str(), target.c_str()) == 0) {
    return;
  }
  const int code = errno;
  const bool about_target = code == EEXIST || code == ENOTEMPTY || code == EISDIR;
  detail::throw_errno(code, about_target ? to : from);
}

void remove(const std::u16string& path) {
  detail::require(std::remove(detail::utf16_to_native(path).c_str()) == 0, path);
}

} // namespace fl::filesystem
