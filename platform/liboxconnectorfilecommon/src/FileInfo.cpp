#include <connector/file_common/v1/FileInfo.h>
#include <fl/filesystem/path.h>

#include <algorithm>

namespace connector::file_common::v1 {

namespace {

constexpr std::size_t KNOWN_ATTRIBUTES = 5;

} // namespace

// NOLINTBEGIN(cert-err58-cpp): only lack of memory while the library is loaded can throw here.
const std::string FileAttributes::SIZE = "size";
const std::string FileAttributes::MODIFIED = "modified";
const std::string FileAttributes::CAN_WRITE = "canWrite";
const std::string FileAttributes::DELETED = "deleted";
const std::string FileAttributes::IS_SHARED = "isShared";

// NOLINTEND(cert-err58-cpp)

// NOLINTNEXTLINE(modernize-pass-by-value): the framework's signature.
FileInfo::FileInfo(const fl::i18n::ustring& location, bool isDirectory)
    : location_(location)
    , isDirectory_(isDirectory) {}

fl::i18n::ustring FileInfo::getName() const {
  return fl::filesystem::detail::extract_filename(location_);
}

void FileInfo::setAttribute(const std::string& key, boost::any value) {
  attributes_.reserve(KNOWN_ATTRIBUTES); // in most cases all of them come, one after the other
  const auto existing = std::find_if(attributes_.begin(), attributes_.end(),
                                     [&](const auto& entry) { return entry.first == key; });
  if (existing == attributes_.end()) {
    attributes_.emplace_back(key, std::move(value));
  } else {
    existing->second = std::move(value);
  }
}

const boost::any* FileInfo::findAttribute(const std::string& key) const noexcept {
  const auto found = std::find_if(attributes_.begin(), attributes_.end(),
                                  [&](const auto& entry) { return entry.first == key; });
  return found == attributes_.end() ? nullptr : &found->second;
}

} // namespace connector::file_common::v1
