#pragma once

#include <fl/i18n/ustring.h>

#include <cstdint>
#include <optional>
#include <string>

#pragma GCC visibility push(default)

namespace connector::file_common::v1 {

/// The keys of a FileInfo's attributes, with the types of the values.
struct FileAttributes {
  static const std::string SIZE;      ///< std::uint64_t, bytes
  static const std::string MODIFIED;  ///< std::int64_t, whole seconds since 1970-01-01 UTC
  static const std::string CAN_WRITE; ///< bool
  static const std::string DELETED;   ///< bool
  static const std::string IS_SHARED; ///< bool
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
  friend struct AttributeAccess;

  /// Not a map, which would need memory of its own for each entry of a long list.
  struct Attributes {
    std::optional<std::uint64_t> size;
    std::optional<std::int64_t> modified;
    std::optional<bool> canWrite;
    std::optional<bool> deleted;
    std::optional<bool> isShared;
  };

  fl::i18n::ustring location_;
  Attributes attributes_;
  bool isDirectory_ = false;
};

} // namespace connector::file_common::v1

#pragma GCC visibility pop
