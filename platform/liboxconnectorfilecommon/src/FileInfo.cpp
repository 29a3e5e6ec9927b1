#include "AttributeTable.h"

#include <connector/file_common/v1/FileInfo.h>
#include <fl/filesystem/path.h>

#include <stdexcept>
#include <utility>

namespace connector::file_common::v1 {

// NOLINTBEGIN(cert-err58-cpp): only lack of memory while the library is loaded can throw here.
const std::string FileAttributes::SIZE = "size";
const std::string FileAttributes::MODIFIED = "modified";
const std::string FileAttributes::CAN_WRITE = "canWrite";
const std::string FileAttributes::DELETED = "deleted";
const std::string FileAttributes::IS_SHARED = "isShared";

// NOLINTEND(cert-err58-cpp)

namespace {

template <typename T>
bool setIf(const Attribute<T>& attribute, const std::string& key, T value,
           AttributeAccess::Attributes& attributes) {
  if (attribute.key != key) {
    return false;
  }
  attributes.*attribute.value = value;
  return true;
}

template <typename T, typename U>
bool setIf(const Attribute<T>&, const std::string&, U, AttributeAccess::Attributes&) {
  return false;
}

template <typename T>
void set(AttributeAccess::Attributes& attributes, const std::string& key, T value) {
  const bool done = std::apply(
      [&](const auto&... attribute) { return (setIf(attribute, key, value, attributes) || ...); },
      ATTRIBUTES);
  if (!done) {
    throw std::invalid_argument("No attribute with such values: " + key);
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
