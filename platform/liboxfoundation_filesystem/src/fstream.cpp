#include "native_name.h"
#include "posix.h"

#include <fl/filesystem/fstream.h>

#include <cerrno>
#include <fcntl.h>
#include <ios>
#include <linux/magic.h>
#include <streambuf>
#include <string>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/vfs.h>
#include <unistd.h>
#include <utility>

namespace fl::filesystem {

namespace {

using detail::Descriptor;
using detail::stat_buffer;

bool is_null_device(const stat_buffer& file) {
  return S_ISCHR(file.st_mode) && file.st_rdev == makedev(1, 3);
}

bool is_standard_output(const stat_buffer& file) {
  stat_buffer output{};
  return ::fstat(STDOUT_FILENO, &output) == 0 && detail::isSameFile(output, file) &&
         !is_null_device(file);
}

/// Returns whether the file is an unnamed pipe, such as a standard stream of this process that is
/// opened by its path under /proc.
bool is_unnamed_pipe(int opened, const stat_buffer& file) {
  struct statfs system = {};
  return S_ISFIFO(file.st_mode) && ::fstatfs(opened, &system) == 0 && system.f_type == PIPEFS_MAGIC;
}

/// Fails with EBUSY if readers would mistake the file's contents for this process's own output.
/// Otherwise empties the file if `truncates`. Returns false with errno set on failure.
bool prepare_writing(int opened, bool truncates) {
  stat_buffer file{};
  if (::fstat(opened, &file) != 0) {
    return false;
  }
  if (is_standard_output(file) || is_unnamed_pipe(opened, file)) {
    errno = EBUSY;
    return false;
  }
  const bool has_contents = S_ISREG(file.st_mode) && file.st_size > 0; // unlike a new file
  return !truncates || !has_contents ||
         detail::uninterrupted([opened] { return ::ftruncate(opened, 0); }) == 0;
}

/// Returns no descriptor, with errno set, on failure.
Descriptor open_for_writing(const std::string& name, bool truncates) {
  constexpr mode_t all = 0666; // the umask removes some
  Descriptor opened = detail::open_file(name, O_WRONLY | O_CREAT, all);
  if (opened.isOpen() && !prepare_writing(opened.get(), truncates)) {
    return Descriptor(-1);
  }
  return opened;
}

int origin(std::ios_base::seekdir way) {
  if (way == std::ios_base::beg) {
    return SEEK_SET;
  }
  return way == std::ios_base::end ? SEEK_END : SEEK_CUR;
}

} // namespace

/// Reads and writes without buffering. If a call fails, errno has the reason, and the stream sets
/// its badbit. Reading or writing single characters sets the badbit too.
class detail::file_buf : public std::streambuf {
public:
  explicit file_buf(Descriptor opened)
      : file_(std::move(opened)) {}

  [[nodiscard]] bool is_open() const noexcept { return file_.isOpen(); }

  /// Returns false with errno set on failure. Closes the descriptor in any case.
  bool close() { return ::close(file_.release()) == 0; }

protected:
  std::streamsize xsgetn(char* data, std::streamsize count) override {
    std::streamsize done = 0;
    ssize_t more = 1;
    while (done < count && more > 0) {
      more = uninterrupted(
          [&] { return ::read(file_.get(), data + done, static_cast<std::size_t>(count - done)); });
      done += more;
    }
    if (more < 0) {
      throw std::ios_base::failure("read"); // a shorter count would mean the end of the file
    }
    return done;
  }

  int_type underflow() override { throw std::ios_base::failure("read of one character"); }

  std::streamsize xsputn(const char* data, std::streamsize count) override {
    return static_cast<std::streamsize>(
        write_all(file_.get(), data, static_cast<std::size_t>(count)));
  }

  pos_type seekoff(off_type offset, std::ios_base::seekdir way,
                   std::ios_base::openmode /*which*/) override {
    return ::lseek(file_.get(), offset, origin(way));
  }

  pos_type seekpos(pos_type position, std::ios_base::openmode which) override {
    return seekoff(position, std::ios_base::beg, which);
  }

private:
  Descriptor file_;
};

ifstream::ifstream(const std::u16string& path, std::ios_base::openmode /*mode*/, int /*sharing*/)
    : std::istream(nullptr)
    , buffer_(std::make_unique<detail::file_buf>(
          detail::open_file(detail::utf16_to_native(path), O_RDONLY))) {
  rdbuf(buffer_.get());
  if (!buffer_->is_open()) {
    setstate(std::ios_base::failbit);
  }
}

ifstream::~ifstream() = default;

ofstream::ofstream(const std::string& native_name, std::ios_base::openmode mode, int /*sharing*/)
    : std::ostream(nullptr)
    , buffer_(std::make_unique<detail::file_buf>(
          open_for_writing(native_name, (mode & std::ios_base::trunc) != 0))) {
  rdbuf(buffer_.get());
  if (!buffer_->is_open()) {
    setstate(std::ios_base::failbit);
  }
}

ofstream::~ofstream() = default;

bool ofstream::is_open() const noexcept {
  return buffer_->is_open();
}

void ofstream::close() {
  if (!buffer_->close()) {
    setstate(std::ios_base::failbit);
  }
}

} // namespace fl::filesystem
