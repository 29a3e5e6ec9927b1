#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#pragma GCC visibility push(default)

namespace fl::filesystem {

/// Base of all exceptions of this library: an errno code, and the path that failed.
/// EDQUOT is reported as ENOSPC (28), so that a full quota and a full disk are one condition.
class FsysExceptionBase : public std::runtime_error {
public:
  FsysExceptionBase(int code, std::u16string path);

  [[nodiscard]] std::uint32_t get_error_code() const noexcept { return code_; }

  [[nodiscard]] const std::u16string& get_path() const noexcept { return path_; }

private:
  std::uint32_t code_;
  std::u16string path_;
};

/// For all codes without a class of their own. The framework puts `arguments` into a localised
/// message. This class ignores them.
class SystemError : public FsysExceptionBase {
public:
  SystemError(int code, std::u16string path, const std::vector<std::u16string>& arguments);
};

class AccessDenied : public FsysExceptionBase {
  using FsysExceptionBase::FsysExceptionBase;
};

class PathNotFound : public FsysExceptionBase {
  using FsysExceptionBase::FsysExceptionBase;
};

class FileExistsError : public FsysExceptionBase {
  using FsysExceptionBase::FsysExceptionBase;
};

class NotDirectoryError : public FsysExceptionBase {
  using FsysExceptionBase::FsysExceptionBase;
};

class DirectoryNotEmpty : public FsysExceptionBase {
  using FsysExceptionBase::FsysExceptionBase;
};

class FileNameTooLarge : public FsysExceptionBase {
  using FsysExceptionBase::FsysExceptionBase;
};

/// The path cannot be converted to the bytes of a file name.
class FileNameConversionFailure : public FsysExceptionBase {
  using FsysExceptionBase::FsysExceptionBase;
};

/// A codec rejects a character. The stand-in never throws it: its codecs replace the character.
class CvtInvalidCharacter : public FsysExceptionBase {
  using FsysExceptionBase::FsysExceptionBase;
};

} // namespace fl::filesystem

#pragma GCC visibility pop
