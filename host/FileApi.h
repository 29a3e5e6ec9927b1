#pragma once

#include "JsonRpc.h"

#include <connector/file/v1/FileJsonSerialization.h>
#include <connector/file/v1/FileServiceProviderImpl.h>

#include <connector/json/MessageRegistry.h>

#include <memory>
#include <string>
#include <vector>

namespace connector::host {

/// The file service, put together as a hosting framework does it, and running while this lives.
class FileApi {
public:
  FileApi();
  ~FileApi();
  FileApi(const FileApi&) = delete;
  FileApi& operator=(const FileApi&) = delete;

  /// Content to message, message to provider, its response to content.
  [[nodiscard]] Outcome answer(const std::string& type,
                               const Poco::JSON::Object::Ptr& params) const;

  /// The names of the messages that are answered, sorted.
  [[nodiscard]] std::vector<std::string> types() const;

private:
  std::shared_ptr<json::MessageRegistry> registry_;
  std::shared_ptr<file::v1::FileServiceProviderImpl> provider_;
  file::v1::FileJsonSerialization serialization_;
};

} // namespace connector::host
