#pragma once

#include <fl/i18n/ustring.h>

#include <cstdint>
#include <optional>
#include <string>

#pragma GCC visibility push(default)

namespace connector::file_common::v1 {

/// The keys of a FileInfo's attributes, with the types of the values.
struct FileAttributes {
  static inline const std::string SIZE = "size";          ///< std::uint64_t, bytes
  static inline const std::string MODIFIED = "modified";  ///< std::int64_t, seconds since 1970 UTC
  static inline const std::string CAN_WRITE = "canWrite"; ///< bool
  static inline const std::string DELETED = "deleted";    ///< bool
  static inline const std::string IS_SHARED = "isShared"; ///< bool
};

/// The path and attributes of a file or directory.
class FileInfo {
public:
  /// The empty path, no attributes.
  FileInfo() = default;

  FileInfo(fl::i18n::ustring location, bool isDirectory) noexcept;

  /// The whole path, as given to the constructor.
  [[nodiscard]] const fl::i18n::ustring& getLocation() const noexcept { return location_; }

  /// The last component of the location.
  [[nodiscard]] fl::i18n::ustring getName() const;

  [[nodiscard]] bool isDirectory() const noexcept { return isDirectory_; }

  /// Replaces an earlier value of the key. Throws std::invalid_argument if the key is unknown or
  /// its values have another type.
  void setAttribute(const std::string& key, bool value);
  void setAttribute(const std::string& key, std::int64_t value);
  void setAttribute(const std::string& key, std::uint64_t value);

private:
  friend struct AttributeTable;

  fl::i18n::ustring location_;
  bool isDirectory_ = false;
  // The attributes. A map would allocate memory for each entry of a long list.
  std::optional<std::uint64_t> size_;
  std::optional<std::int64_t> modified_;
  std::optional<bool> canWrite_;
  std::optional<bool> deleted_;
  std::optional<bool> isShared_;
};

} // namespace connector::file_common::v1

#pragma GCC visibility pop
