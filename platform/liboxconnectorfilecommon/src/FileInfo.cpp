#include "AttributeTable.h"

#include <connector/file_common/v1/FileInfo.h>
#include <fl/filesystem/path.h>

#include <stdexcept>
#include <type_traits>
#include <utility>

namespace connector::file_common::v1 {

namespace {

template <typename T>
void set(FileInfo& info, const std::string& key, T value) {
  bool known = false;
  AttributeTable::forEach(info, [&](const std::string& each, auto& attribute) {
    if constexpr (std::is_same_v<decltype(attribute), std::optional<T>&>) {
      if (each == key) {
        attribute = value;
        known = true;
      }
    }
  });
  if (!known) {
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
  set(*this, key, value);
}

void FileInfo::setAttribute(const std::string& key, std::int64_t value) {
  set(*this, key, value);
}

void FileInfo::setAttribute(const std::string& key, std::uint64_t value) {
  set(*this, key, value);
}

} // namespace connector::file_common::v1
