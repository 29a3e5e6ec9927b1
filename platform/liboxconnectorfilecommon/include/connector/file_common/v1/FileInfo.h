#pragma once

#include <fl/i18n/ustring.h>

#include <boost/any.hpp>

#include <string>
#include <utility>
#include <vector>

#pragma GCC visibility push(default)

namespace connector::file_common::v1 {

/// Keys of a FileInfo's attributes, and the types of their values.
struct FileAttributes {
  static const std::string SIZE;      ///< std::uint64_t, bytes
  static const std::string MODIFIED;  ///< std::int64_t, whole seconds since 1970-01-01 UTC
  static const std::string CAN_WRITE; ///< bool
  static const std::string DELETED;   ///< bool
  static const std::string IS_SHARED; ///< bool
};

/// Path and attributes of one file or folder.
class FileInfo {
public:
  /// The empty path, no attributes.
  FileInfo() = default;

  FileInfo(const fl::i18n::ustring& location, bool isDirectory);

  /// The whole path, as given to the constructor.
  [[nodiscard]] const fl::i18n::ustring& getLocation() const noexcept { return location_; }

  /// The last component of the location.
  [[nodiscard]] fl::i18n::ustring getName() const;

  [[nodiscard]] bool isDirectory() const noexcept { return isDirectory_; }

  /// Replaces any earlier value of that key.
  void setAttribute(const std::string& key, boost::any value);

  /// Null when the attribute is not set.
  [[nodiscard]] const boost::any* findAttribute(const std::string& key) const noexcept;

private:
  fl::i18n::ustring location_;
  bool isDirectory_ = false;
  // A handful of entries: a scan is faster than a tree and costs one allocation.
  std::vector<std::pair<std::string, boost::any>> attributes_;
};

} // namespace connector::file_common::v1

#pragma GCC visibility pop
