#include "file_buf.h"
#include "native_name.h"
#include "posix.h"

#include <fl/filesystem/fstream.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/vfs.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace fl::filesystem {

namespace {

using detail::stat_buffer;

constexpr mode_t CREATION_MODE = 0666; // the umask removes some

bool is_for_writing(std::ios_base::openmode mode) {
  return (mode & (std::ios_base::out | std::ios_base::app)) != 0;
}

// O_TRUNC is missing because prepare_writing truncates.
int open_flags(std::ios_base::openmode mode) {
  if (!is_for_writing(mode)) {
    return O_RDONLY;
  }
  const bool reads = (mode & std::ios_base::in) != 0;
  const bool appends = (mode & std::ios_base::app) != 0;
  return O_CREAT | (reads ? O_RDWR : O_WRONLY) | (appends ? O_APPEND : 0);
}

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

/// Refuses a file whose readers would mistake the contents for this process's own output. Only then
/// empties the file. Returns false with errno set on failure.
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

int origin(std::ios_base::seekdir way) {
  if (way == std::ios_base::beg) {
    return SEEK_SET;
  }
  return way == std::ios_base::end ? SEEK_END : SEEK_CUR;
}

/// Throws if the read fails, since returning 0 would mean the end of the file.
std::size_t read_some(int source, char* data, std::size_t count) {
  const ssize_t done = detail::uninterrupted([&] { return ::read(source, data, count); });
  if (done < 0) {
    throw std::ios_base::failure("read", {errno, std::generic_category()});
  }
  return static_cast<std::size_t>(done);
}

} // namespace

namespace detail {

bool file_buf::open(const std::string& name, std::ios_base::openmode mode) {
  if (name.find('\0') != std::string::npos) {
    errno = EINVAL;
    return false;
  }
  descriptor opened(open_file(name.c_str(), open_flags(mode), CREATION_MODE));
  const bool truncates = (mode & std::ios_base::trunc) != 0;
  if (!opened.isOpen() || (is_for_writing(mode) && !prepare_writing(opened.get(), truncates))) {
    return false;
  }
  file_ = std::move(opened);
  return true;
}

bool file_buf::close() {
  if (!is_open()) {
    errno = EBADF;
    return false;
  }
  setg(nullptr, nullptr, nullptr);
  sought_ = -1;
  return ::close(file_.release()) == 0;
}

file_buf::int_type file_buf::underflow() {
  sought_ = -1;
  const std::size_t count = read_some(file_.get(), lookahead_.data(), lookahead_.size());
  if (count == 0) {
    return traits_type::eof();
  }
  setg(lookahead_.data(), lookahead_.data(), lookahead_.data() + count);
  return traits_type::to_int_type(*gptr());
}

// Reads directly into the caller's memory, and never more than requested.
std::streamsize file_buf::xsgetn(char* data, std::streamsize count) {
  sought_ = -1;
  std::streamsize done = std::min<std::streamsize>(count, egptr() - gptr());
  if (done > 0) {
    std::memcpy(data, gptr(), static_cast<std::size_t>(done));
    setg(eback(), gptr() + done, egptr());
  }
  while (done < count) {
    const std::size_t more =
        read_some(file_.get(), data + done, static_cast<std::size_t>(count - done));
    if (more == 0) {
      break;
    }
    done += static_cast<std::streamsize>(more);
  }
  return done;
}

file_buf::int_type file_buf::overflow(int_type character) {
  if (traits_type::eq_int_type(character, traits_type::eof())) {
    return traits_type::not_eof(character);
  }
  const char byte = traits_type::to_char_type(character);
  return xsputn(&byte, 1) == 1 ? character : traits_type::eof();
}

std::streamsize file_buf::xsputn(const char* data, std::streamsize count) {
  sought_ = -1;
  return static_cast<std::streamsize>(
      write_all(file_.get(), data, static_cast<std::size_t>(count)));
}

file_buf::pos_type file_buf::seekoff(off_type offset, std::ios_base::seekdir way,
                                     std::ios_base::openmode /*which*/) {
  if (way == std::ios_base::cur && offset == 0 && sought_ >= 0) {
    return sought_;
  }
  const off_type ahead = way == std::ios_base::cur ? egptr() - gptr() : 0;
  sought_ = ::lseek(file_.get(), offset - ahead, origin(way));
  if (sought_ >= 0) {
    setg(nullptr, nullptr, nullptr);
  }
  return sought_;
}

file_buf::pos_type file_buf::seekpos(pos_type position, std::ios_base::openmode which) {
  return seekoff(position, std::ios_base::beg, which);
}

} // namespace detail

ifstream::ifstream(const std::u16string& path, std::ios_base::openmode mode, int /*sharing*/)
    : std::istream(nullptr)
    , buffer_(std::make_unique<detail::file_buf>()) {
  rdbuf(buffer_.get());
  if (!buffer_->open(detail::utf16_to_native(path), mode | std::ios_base::in)) {
    setstate(std::ios_base::failbit);
  }
}

ifstream::~ifstream() = default;

ofstream::ofstream(const std::string& native_name, std::ios_base::openmode mode, int /*sharing*/)
    : std::ostream(nullptr)
    , buffer_(std::make_unique<detail::file_buf>()) {
  rdbuf(buffer_.get());
  if (!buffer_->open(native_name, mode | std::ios_base::out)) {
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
