#pragma once

#include <connector/common/v1/Fault.h>
#include <connector/common/v1/Version.h>

#include <string>
#include <vector>

#pragma GCC visibility push(default)

namespace connector::common::v1 {

/// The fields that every message has.
class Message {
public:
  Message(const std::string& uuid, Version apiVersion);
  virtual ~Message();
  Message(const Message&) = delete;
  Message& operator=(const Message&) = delete;

  [[nodiscard]] const std::string& getUuid() const noexcept { return uuid_; }

  [[nodiscard]] Version getApiVersion() const noexcept { return apiVersion_; }

private:
  std::string uuid_;
  Version apiVersion_;
};

/// The fields that every response has. The list of faults is empty on success.
class Response : public Message {
public:
  Response(const std::string& uuid, std::vector<Fault>&& faults, Version apiVersion);

  // These two set the `uuid` to "notset".

  Response(std::vector<Fault>&& faults, Version apiVersion);
  explicit Response(Version apiVersion);

  [[nodiscard]] const std::vector<Fault>& getFaults() const noexcept { return faults_; }

private:
  std::vector<Fault> faults_;
};

} // namespace connector::common::v1

#pragma GCC visibility pop
