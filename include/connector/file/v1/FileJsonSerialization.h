#pragma once

#include <connector/file/v1/Export.h>

#include <connector/json/JsonSerializer.h>

#include <memory>

namespace connector::file::v1 {

/// Makes the file messages known to a serializer for as long as it lives: the constructor registers
/// the converters of all of them, the destructor removes them. A copy shares the serializer and
/// registers nothing, but its end removes the converters as any other's does.
class CONNECTOR_FILE_EXPORT FileJsonSerialization {
public:
  /// Throws what the serializer throws, and has registered nothing then.
  explicit FileJsonSerialization(std::shared_ptr<json::JsonSerializer> serializer);

  FileJsonSerialization(const FileJsonSerialization& other);
  FileJsonSerialization& operator=(const FileJsonSerialization& other);
  virtual ~FileJsonSerialization();

private:
  std::shared_ptr<json::JsonSerializer> serializer;
};

} // namespace connector::file::v1
