#pragma once

#include "JsonRpc.h"

#include <connector/file/v1/FileJsonSerialization.h>
#include <connector/file/v1/FileServiceProviderImpl.h>

#include <connector/json/MessageRegistry.h>

#include <memory>
#include <string>

namespace connector::host {

/// The file service with its provider and converters, assembled as a hosting framework does. The
/// provider runs as long as the object exists.
class FileApi : public Api {
public:
  FileApi();
  ~FileApi() override;
  FileApi(const FileApi&) = delete;
  FileApi& operator=(const FileApi&) = delete;

  [[nodiscard]] Poco::JSON::Object::Ptr
  execute(const std::string& type, const Poco::JSON::Object::Ptr& params) const override;

private:
  std::shared_ptr<json::MessageRegistry> registry_;
  std::shared_ptr<file::v1::FileServiceProviderImpl> provider_;
  file::v1::FileJsonSerialization serialization_;
};

} // namespace connector::host
