#include "posix.h"

#include <fl/filesystem/exceptions.h>

#include <boost/locale/encoding_utf.hpp>

#include <cerrno>
#include <system_error>
#include <utility>

namespace fl::filesystem {

namespace {

// The path is last, since a NUL in it hides the rest of the text. Leaves out unpaired surrogates.
std::string text(int code, const std::u16string& path) {
  return std::generic_category().message(code) + ": " + boost::locale::conv::utf_to_utf<char>(path);
}

} // namespace

FsysExceptionBase::FsysExceptionBase(int code, std::u16string path)
    : std::runtime_error(text(code, path))
    , code_(static_cast<std::uint32_t>(code == EDQUOT ? ENOSPC : code))
    , path_(std::move(path)) {}

SystemError::SystemError(int code, std::u16string path,
                         const std::vector<std::u16string>& /*arguments*/)
    : FsysExceptionBase(code, std::move(path)) {}

void detail::throw_errno(int code, const std::u16string& path) {
  switch (code) {
  case EACCES:
  case EPERM:
  case EROFS:
    throw AccessDenied(code, path);
  case ENOENT:
    throw PathNotFound(code, path);
  case EEXIST:
    throw FileExistsError(code, path);
  case ENOTDIR:
    throw NotDirectoryError(code, path);
  case ENOTEMPTY:
    throw DirectoryNotEmpty(code, path);
  case ENAMETOOLONG:
    throw FileNameTooLarge(code, path);
  default:
    throw SystemError(code, path, {});
  }
}

} // namespace fl::filesystem
