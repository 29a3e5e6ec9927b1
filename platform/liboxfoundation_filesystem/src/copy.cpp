#include "posix.h"

#include <fl/filesystem/exceptions.h>
#include <fl/filesystem/native_name.h>
#include <fl/filesystem/operations.h>

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace fl::filesystem {

namespace {

using detail::descriptor;
using detail::stat_buffer;
using detail::throw_errno;
using detail::uninterrupted;

constexpr std::size_t kernel_chunk = std::size_t{1} << 30U;

void refuse_all_but_regular(const stat_buffer& found, const std::u16string& path) {
  if (S_ISDIR(found.st_mode)) {
    throw_errno(EISDIR, path);
  }
  if (!S_ISREG(found.st_mode)) {
    throw_errno(EOPNOTSUPP, path);
  }
}

// Looks before it opens, since opening a device can already do something, and again afterwards,
// since another file may have taken the name meanwhile.
class source_file {
public:
  explicit source_file(const std::u16string& path)
      : path_(path)
      , file_(open(path)) {
    refuse_all_but_regular(status(), path);
  }

  [[nodiscard]] int get() const { return file_.get(); }

  [[nodiscard]] stat_buffer status() const {
    stat_buffer found{};
    if (::fstat(file_.get(), &found) != 0) {
      throw_errno(errno, path_);
    }
    return found;
  }

private:
  static int open(const std::u16string& path) {
    const std::string name = detail::utf16_to_native(path);
    stat_buffer found{};
    if (::stat(name.c_str(), &found) != 0) {
      throw_errno(errno, path);
    }
    refuse_all_but_regular(found, path);
    const int number = uninterrupted(
        [&name] { return ::open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK); });
    if (number < 0) {
      throw_errno(errno, path);
    }
    return number;
  }

  const std::u16string& path_;
  descriptor file_;
};

/// A file that did not exist before and that goes away again unless it is finished. Only its owner
/// can read it until it has its final permissions.
class new_file {
public:
  explicit new_file(const std::u16string& path)
      : path_(path)
      , name_(detail::utf16_to_native(path))
      , file_(uninterrupted([this] {
        return ::open(name_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                      S_IRUSR | S_IWUSR);
      })) {
    if (!file_.is_open()) {
      throw_errno(errno, path_);
    }
    if (::fstat(file_.get(), &created_) != 0) {
      const int code = errno;
      ::unlink(name_.c_str()); // No destructor comes, nor could it tell the file from another.
      throw_errno(code, path_);
    }
  }

  new_file(const new_file&) = delete;
  new_file& operator=(const new_file&) = delete;

  ~new_file() {
    stat_buffer found{};
    if (!finished_ && ::lstat(name_.c_str(), &found) == 0 && found.st_dev == created_.st_dev &&
        found.st_ino == created_.st_ino) {
      ::unlink(name_.c_str());
    }
  }

  [[nodiscard]] int get() const { return file_.get(); }

  void finish_as(const stat_buffer& source) {
    // Another owner must not be lent the set-user-id and set-group-id of the source's.
    const bool same_owner = created_.st_uid == source.st_uid && created_.st_gid == source.st_gid;
    const mode_t kept = same_owner ? mode_t{07777} : mode_t{07777} & ~mode_t{S_ISUID | S_ISGID};
    const std::array<timespec, 2> times{timespec{0, UTIME_OMIT}, source.st_mtim};
    check_attribute(::fchmod(file_.get(), source.st_mode & kept));
    check_attribute(::futimens(file_.get(), times.data()));
    if (::close(file_.release()) != 0) {
      throw_errno(errno, path_);
    }
    finished_ = true;
  }

private:
  // A file system that keeps no such attribute (FAT, for one) refuses it even to the owner; the
  // copy is then as private as that file system makes it.
  void check_attribute(int result) const {
    if (result != 0 && errno != EPERM && errno != EOPNOTSUPP) {
      throw_errno(errno, path_);
    }
  }

  const std::u16string& path_;
  std::string name_;
  descriptor file_;
  stat_buffer created_{};
  bool finished_ = false;
};

template <typename Step>
void repeat_while_moving(const Step& step) {
  while (uninterrupted(step) > 0) {
  }
}

/// Lets the kernel move as much as it will. It is free to refuse any pair of files, and says
/// nothing about which side a failure is on, so both are left to `move_rest`.
void move_in_kernel(int source, int target) {
  repeat_while_moving(
      [&] { return ::copy_file_range(source, nullptr, target, nullptr, kernel_chunk, 0); });
  repeat_while_moving([&] { return ::sendfile(target, source, nullptr, kernel_chunk); });
}

void move_rest(int source, const std::u16string& from, int target, const std::u16string& to) {
  std::array<char, 65536> block; // NOLINT(cppcoreguidelines-pro-type-member-init): read fills it
  ssize_t count = 0;
  while ((count = uninterrupted([&] { return ::read(source, block.data(), block.size()); })) > 0) {
    const auto wanted = static_cast<std::size_t>(count);
    if (detail::write_all(target, block.data(), wanted) != wanted) {
      throw_errno(errno, to);
    }
  }
  if (count < 0) {
    throw_errno(errno, from);
  }
}

} // namespace

void copy(const std::u16string& from, const std::u16string& to, copy_option /*option*/) {
  const source_file source(from);
  new_file target(to);
  move_in_kernel(source.get(), target.get());
  move_rest(source.get(), from, target.get(), to);
  target.finish_as(source.status());
}

} // namespace fl::filesystem
