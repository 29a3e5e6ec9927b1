#include "native_name.h"
#include "posix.h"

#include <fl/filesystem/operations.h>

#include <cerrno>
#include <sys/stat.h>

namespace fl::filesystem {

namespace {

constexpr mode_t ALL_PERMISSIONS = 0777; // the umask removes some

/// Returns 0 if the directory now exists, even if another process made it, else the errno of mkdir.
int make_or_keep(const std::string& directory) {
  if (::mkdir(directory.c_str(), ALL_PERMISSIONS) == 0) {
    return 0;
  }
  const int code = errno;
  detail::stat_buffer found{};
  return ::stat(directory.c_str(), &found) == 0 && S_ISDIR(found.st_mode) ? 0 : code;
}

int make_with_ancestors(const std::string& directory) {
  for (auto end = directory.find('/', 1); end != std::string::npos;
       end = directory.find('/', end + 1)) {
    if (const int code = make_or_keep(directory.substr(0, end)); code != 0) {
      return code;
    }
  }
  return make_or_keep(directory);
}

} // namespace

void create_directory(const std::u16string& path) {
  detail::require(::mkdir(detail::utf16_to_native(path).c_str(), ALL_PERMISSIONS) == 0, path);
}

void create_directories(const std::u16string& path) {
  const std::string directory = detail::utf16_to_native(path);
  int code = make_or_keep(directory);
  if (code == ENOENT) {
    code = make_with_ancestors(directory);
  }
  if (code != 0) {
    detail::throw_errno(code, path);
  }
}

} // namespace fl::filesystem
