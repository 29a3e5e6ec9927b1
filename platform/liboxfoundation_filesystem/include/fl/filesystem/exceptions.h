#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#pragma GCC visibility push(default)

namespace fl::filesystem {

/// Root of the family: an errno-style code and the path, as it was given, that it is about.
/// EDQUOT is carried as ENOSPC (28), so that a full quota and a full disk are one condition.
class FsysExceptionBase : public std::runtime_error {
public:
  FsysExceptionBase(int code, std::u16string path);

  [[nodiscard]] std::uint32_t get_error_code() const noexcept { return code_; }

  [[nodiscard]] const std::u16string& get_path() const noexcept { return path_; }

private:
  std::uint32_t code_;
  std::u16string path_;
};

/// Any code that has no class of its own. `arguments` are texts for a localised message; they have
/// no effect here.
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

/// A path that cannot be turned into the bytes of a file name.
class FileNameConversionFailure : public FsysExceptionBase {
  using FsysExceptionBase::FsysExceptionBase;
};

/// A character that a codec refuses. Never thrown here, because the codecs replace such characters.
class CvtInvalidCharacter : public FsysExceptionBase {
  using FsysExceptionBase::FsysExceptionBase;
};

} // namespace fl::filesystem

#pragma GCC visibility pop
