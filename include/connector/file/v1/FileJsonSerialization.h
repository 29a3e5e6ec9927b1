#pragma once

#include <connector/file/v1/Export.h>

#include <connector/json/JsonSerializer.h>

#include <memory>

namespace connector::file::v1 {

/// Registers the JSON converters of all file messages with a serializer, and removes them on
/// destruction. A copy registers nothing, but its destructor removes the converters too. The
/// converters may run on several threads at once.
class CONNECTOR_FILE_EXPORT FileJsonSerialization {
public:
  /// Throws std::invalid_argument if `serializer` is null. If the serializer throws, removes the
  /// converters registered so far and rethrows.
  explicit FileJsonSerialization(std::shared_ptr<json::JsonSerializer> serializer);

  FileJsonSerialization(const FileJsonSerialization& other);
  FileJsonSerialization& operator=(const FileJsonSerialization& other);
  virtual ~FileJsonSerialization();

private:
  std::shared_ptr<json::JsonSerializer> serializer;
};

} // namespace connector::file::v1
