#include "AttributeTable.h"

#include <connector/file_common/v1/FileInfo.h>
#include <fl/filesystem/path.h>

#include <stdexcept>
#include <type_traits>
#include <utility>

namespace connector::file_common::v1 {

// NOLINTBEGIN(cert-err58-cpp): throws only if memory runs out while the library is loaded
const std::string FileAttributes::SIZE = "size";
const std::string FileAttributes::MODIFIED = "modified";
const std::string FileAttributes::CAN_WRITE = "canWrite";
const std::string FileAttributes::DELETED = "deleted";
const std::string FileAttributes::IS_SHARED = "isShared";

// NOLINTEND(cert-err58-cpp)

namespace {

template <typename T>
void set(AttributeAccess::Attributes& attributes, const std::string& key, T value) {
  const auto setIf = [&](const auto& attribute) {
    if constexpr (std::is_same_v<decltype(attribute), const Attribute<T>&>) {
      if (attribute.key == key) {
        attributes.*attribute.value = value;
        return true;
      }
    }
    return false;
  };
  if (!std::apply([&](const auto&... each) { return (setIf(each) || ...); }, ATTRIBUTES)) {
    throw std::invalid_argument("Unknown attribute, or value of the wrong type: " + key);
  }
}

} // namespace

FileInfo::FileInfo(fl::i18n::ustring location, bool isDirectory) noexcept
    : location_(std::move(location))
    , isDirectory_(isDirectory) {}

fl::i18n::ustring FileInfo::getName() const {
  return fl::filesystem::detail::extract_filename(location_);
}

void FileInfo::setAttribute(const std::string& key, bool value) {
  set(attributes_, key, value);
}

void FileInfo::setAttribute(const std::string& key, std::int64_t value) {
  set(attributes_, key, value);
}

void FileInfo::setAttribute(const std::string& key, std::uint64_t value) {
  set(attributes_, key, value);
}

} // namespace connector::file_common::v1
