#pragma once

#include <connector/file/v1/Export.h>

#include <connector/json/JsonSerializer.h>

#include <memory>

namespace connector::file::v1 {

/// The constructor registers the converters of all file messages with a serializer; the destructor
/// removes them. A copy shares the serializer and registers nothing, but its destructor removes the
/// converters too.
class CONNECTOR_FILE_EXPORT FileJsonSerialization {
public:
  /// Throws std::invalid_argument if `serializer` is null. Passes on what the serializer throws,
  /// after removing the converters that were registered before.
  explicit FileJsonSerialization(std::shared_ptr<json::JsonSerializer> serializer);

  FileJsonSerialization(const FileJsonSerialization& other);
  FileJsonSerialization& operator=(const FileJsonSerialization& other);
  virtual ~FileJsonSerialization();

private:
  std::shared_ptr<json::JsonSerializer> serializer;
};

} // namespace connector::file::v1
