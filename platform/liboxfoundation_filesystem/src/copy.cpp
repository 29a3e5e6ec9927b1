#include "native_name.h"
#include "posix.h"

#include <fl/filesystem/operations.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <fcntl.h>
#include <posix/Attributes.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace fl::filesystem {

namespace {

using detail::Descriptor;
using detail::require;
using detail::stat_buffer;
using detail::throw_errno;
using detail::uninterrupted;

/// The file to copy. It may change at any moment; `require_unchanged` detects that.
class source_file {
public:
  explicit source_file(const std::u16string& path)
      : path_(path)
      , name_(detail::utf16_to_native(path))
      , file_(open()) {
    require(::fstat(file_.get(), &opened_) == 0, path_);
    require_regular(opened_); // another file may have taken the path meanwhile
  }

  [[nodiscard]] int get() const { return file_.get(); }

  [[nodiscard]] const std::u16string& path() const { return path_; }

  /// The size in bytes when the file was opened.
  [[nodiscard]] off_t size() const { return opened_.st_size; }

  [[nodiscard]] bool has_holes() const {
    constexpr off_t block = 512; // the unit of st_blocks on every file system
    return opened_.st_blocks * block < opened_.st_size;
  }

  /// Throws EBUSY if the source has changed. Compares ctime too: every change updates it, even if a
  /// program restores the modification time. A move deletes the source right after this check; a
  /// change in between is lost.
  void require_unchanged() const {
    stat_buffer now{};
    stat_buffer at_path{};
    require(::fstat(file_.get(), &now) == 0, path_);
    const bool is_at_path =
        ::stat(name_.c_str(), &at_path) == 0 && detail::isSameFile(at_path, now);
    if (!is_at_path || now.st_size != opened_.st_size || !is_same(now.st_mtim, opened_.st_mtim) ||
        !is_same(now.st_ctim, opened_.st_ctim)) {
      throw_errno(EBUSY, path_);
    }
  }

private:
  static bool is_same(const timespec& left, const timespec& right) {
    return left.tv_sec == right.tv_sec && left.tv_nsec == right.tv_nsec;
  }

  void require_regular(const stat_buffer& found) const {
    if (S_ISDIR(found.st_mode)) {
      throw_errno(EISDIR, path_);
    }
    if (!S_ISREG(found.st_mode)) {
      throw_errno(EOPNOTSUPP, path_);
    }
  }

  /// Checks the kind of file first, because opening a device can have side effects.
  [[nodiscard]] Descriptor open() const {
    stat_buffer found{};
    require(::stat(name_.c_str(), &found) == 0, path_);
    require_regular(found);
    Descriptor opened = detail::open_file(name_, O_RDONLY);
    require(opened.isOpen(), path_);
    return opened;
  }

  const std::u16string& path_;
  std::string name_;
  Descriptor file_;
  stat_buffer opened_{};
};

/// A new file. The destructor removes it unless `keep` was called. Only its owner can access it
/// until it gets the attributes of the source.
class new_file {
public:
  explicit new_file(const std::u16string& path)
      : path_(path)
      , name_(detail::utf16_to_native(path))
      , file_(uninterrupted([this] {
        return ::open(name_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                      S_IRUSR | S_IWUSR);
      })) {
    require(file_.isOpen(), path_);
    if (::fstat(file_.get(), &created_) != 0) {
      const int code = errno;
      ::unlink(name_.c_str()); // an exception from a constructor skips the destructor
      throw_errno(code, path_);
    }
  }

  new_file(const new_file&) = delete;
  new_file& operator=(const new_file&) = delete;

  ~new_file() {
    stat_buffer found{};
    if (!kept_ && ::lstat(name_.c_str(), &found) == 0 && detail::isSameFile(found, created_)) {
      ::unlink(name_.c_str());
    }
  }

  [[nodiscard]] int get() const { return file_.get(); }

  [[nodiscard]] const std::u16string& path() const { return path_; }

  void take_attributes_of(const source_file& source) {
    connector::posix::Attributes attributes;
    if (const int code = attributes.readFrom(source.get()); code != 0) {
      throw_errno(code, source.path());
    }
    if (const int code = attributes.applyTo(file_.get()); code != 0) {
      throw_errno(code, path_);
    }
  }

  /// Some file systems report a failed write only at this point.
  void close() { require(::close(file_.release()) == 0, path_); }

  void keep() { kept_ = true; }

private:
  const std::u16string& path_;
  std::string name_;
  Descriptor file_;
  stat_buffer created_{};
  bool kept_ = false;
};

/// Copies `count` bytes from the current position of one file to that of the other. The kernel
/// copies first, but it may refuse any pair of files, and its errors do not distinguish source from
/// target. The loop then copies the rest and reports errors precisely.
void copy_bytes(const source_file& source, const new_file& target, off_t count) {
  const auto by_kernel = [&] {
    return ::copy_file_range(source.get(), nullptr, target.get(), nullptr,
                             static_cast<std::size_t>(count), 0);
  };
  ssize_t done = 0;
  while (count > 0 && (done = uninterrupted(by_kernel)) > 0) {
    count -= done;
  }
  std::array<char, 65536> block; // NOLINT(cppcoreguidelines-pro-type-member-init): read fills it
  while (count > 0) {
    const auto wanted = std::min(block.size(), static_cast<std::size_t>(count));
    done = uninterrupted([&] { return ::read(source.get(), block.data(), wanted); });
    require(done >= 0, source.path());
    if (done == 0) {
      throw_errno(EBUSY, source.path()); // the source became shorter
    }
    const auto size = static_cast<std::size_t>(done);
    require(detail::write_all(target.get(), block.data(), size) == size, target.path());
    count -= done;
  }
}

/// Copies the parts that hold data and leaves the holes between them.
void copy_around_holes(const source_file& source, const new_file& target) {
  off_t end = 0;
  while (end < source.size()) {
    const off_t begin = ::lseek(source.get(), end, SEEK_DATA);
    if (begin < 0 && errno == ENXIO) {
      break; // the rest is a hole
    }
    require(begin >= 0, source.path());
    end = ::lseek(source.get(), begin, SEEK_HOLE);
    if (end < 0 && errno == ENXIO) {
      throw_errno(EBUSY, source.path()); // the source became shorter
    }
    require(end >= 0 && ::lseek(source.get(), begin, SEEK_SET) >= 0, source.path());
    require(::lseek(target.get(), begin, SEEK_SET) >= 0, target.path());
    copy_bytes(source, target, std::min(end, source.size()) - begin);
  }
  require(::ftruncate(target.get(), source.size()) == 0, target.path());
  require(::lseek(source.get(), source.size(), SEEK_SET) >= 0, source.path());
}

/// Copies exactly as many bytes as the source had when it was opened. If there is one byte more,
/// the source has grown, or its file system reported a wrong size.
void copy_contents(const source_file& source, const new_file& target) {
  if (source.has_holes()) {
    copy_around_holes(source, target);
  } else {
    copy_bytes(source, target, source.size());
  }
  char further = 0;
  const auto count = uninterrupted([&] { return ::read(source.get(), &further, 1); });
  require(count >= 0, source.path());
  if (count > 0) {
    throw_errno(EBUSY, source.path());
  }
}

} // namespace

void copy(const std::u16string& from, const std::u16string& to, copy_option /*option*/) {
  const source_file source(from);
  new_file target(to);
  copy_contents(source, target);
  target.take_attributes_of(source);
  target.close();
  source.require_unchanged();
  target.keep();
}

} // namespace fl::filesystem
