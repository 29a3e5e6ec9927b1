#include "answer.h"

#include <connector/file/v1/FileJsonSerialization.h>
#include <connector/file/v1/FileServiceImpl.h>
#include <connector/file/v1/FileServiceProviderImpl.h>

#include <connector/json/MessageRegistry.h>

#include <Poco/JSON/Object.h>
#include <Poco/JSON/Parser.h>

#include <iostream>
#include <memory>

using connector::file::v1::FileJsonSerialization;
using connector::file::v1::FileServiceImpl;
using connector::file::v1::FileServiceProviderImpl;

void printAnswer(const char* type, const char* params) {
  // Once, when the framework starts.
  const auto registry = std::make_shared<connector::json::MessageRegistry>();
  const FileJsonSerialization serialization(registry); // registers the file messages
  const auto provider =
      std::make_shared<FileServiceProviderImpl>(std::make_shared<FileServiceImpl>());
  provider->start();

  // For every request. A failed file operation also returns a response, which has a fault.
  const auto json = Poco::JSON::Parser().parse(params).extract<Poco::JSON::Object::Ptr>();
  auto response = provider->handle(registry->fromJson(type, json), {}, nullptr);
  registry->toJson(response.get())->stringify(std::cout);
  std::cout << '\n';

  provider->stop();
}
