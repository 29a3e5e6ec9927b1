#include "Paths.h"

#include <fl/filesystem/operations.h>
#include <fl/filesystem/path.h>

#include <utility>

namespace connector::file::v1 {

using fl::filesystem::upath;

upath toAbsolutePath(const ustring& path) {
  return fl::filesystem::absolute(upath(path), ustring());
}

upath childOf(const upath& directory, const ustring& name) {
  ustring child;
  child.reserve(directory.string().size() + 1 + name.size());
  child += directory;
  fl::filesystem::detail::concatenate_pathname(child, name, true);
  return upath(std::move(child));
}

} // namespace connector::file::v1
