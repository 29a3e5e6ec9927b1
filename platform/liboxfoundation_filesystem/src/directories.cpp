#include "native_name.h"
#include "posix.h"
#include "throw_errno.h"

#include <fl/filesystem/operations.h>

#include <cerrno>
#include <sys/stat.h>

namespace fl::filesystem {

namespace {

constexpr mode_t all_permissions = 0777; // less what the process's umask takes

/// 0 when the folder is there now, whoever made it; else the errno of the attempt to make it.
int make_or_keep(const std::string& folder) {
  if (::mkdir(folder.c_str(), all_permissions) == 0) {
    return 0;
  }
  const int code = errno;
  detail::stat_buffer found{};
  return ::stat(folder.c_str(), &found) == 0 && S_ISDIR(found.st_mode) ? 0 : code;
}

int make_with_ancestors(const std::string& folder) {
  for (auto end = folder.find('/', 1); end != std::string::npos; end = folder.find('/', end + 1)) {
    if (const int code = make_or_keep(folder.substr(0, end)); code != 0) {
      return code;
    }
  }
  return make_or_keep(folder);
}

} // namespace

void create_directory(const std::u16string& path) {
  if (::mkdir(detail::utf16_to_native(path).c_str(), all_permissions) != 0) {
    detail::throw_errno(errno, path);
  }
}

void create_directories(const std::u16string& path) {
  const std::string folder = detail::utf16_to_native(path);
  int code = make_or_keep(folder);
  if (code == ENOENT) {
    code = make_with_ancestors(folder);
  }
  if (code != 0) {
    detail::throw_errno(code, path);
  }
}

} // namespace fl::filesystem
