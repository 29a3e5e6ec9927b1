#include <connector/common/v1/Fault.h>
#include <connector/common/v1/Message.h>

#include <utility>

namespace connector::common::v1 {

// NOLINTBEGIN(cert-err58-cpp): throws only if memory runs out while the library is loaded
const std::string FaultCondition::FILE_NOT_FOUND = "FILE_NOT_FOUND";
const std::string FaultCondition::FILE_EXISTS = "FILE_EXISTS";
const std::string FaultCondition::FILE_ACCESS_DENIED = "FILE_ACCESS_DENIED";
const std::string FaultCondition::FILE_IO_GENERIC = "FILE_IO_GENERIC";
const std::string FaultCondition::FILE_NAME_NOT_SUPPORTED = "FILE_NAME_NOT_SUPPORTED";
const std::string FaultCondition::FILE_TOO_BIG = "FILE_TOO_BIG";
const std::string FaultCondition::FOLDER_ACCESS_DENIED = "FOLDER_ACCESS_DENIED";
const std::string FaultCondition::FOLDER_NOT_EMPTY = "FOLDER_NOT_EMPTY";
const std::string FaultCondition::NOT_A_FOLDER = "NOT_A_FOLDER";
const std::string FaultCondition::OVER_DISK_QUOTA = "OVER_DISK_QUOTA";
const std::string FaultCondition::RESOURCE_IN_USE = "RESOURCE_IN_USE";

// NOLINTEND(cert-err58-cpp)

// NOLINTBEGIN(modernize-pass-by-value): the signatures are the framework's
FaultCondition::FaultCondition(const std::string& id, std::vector<std::u16string>&& info)
    : id_(id)
    , info_(std::move(info)) {}

Fault::Fault(const std::string& code, const std::string& message,
             std::vector<FaultCondition>&& conditions)
    : code_(code)
    , message_(message)
    , conditions_(std::move(conditions)) {}

Message::Message(const std::string& uuid, Version apiVersion)
    : uuid_(uuid)
    , apiVersion_(apiVersion) {}

// NOLINTEND(modernize-pass-by-value)

Message::~Message() = default;

Response::Response(const std::string& uuid, std::vector<Fault>&& faults, Version apiVersion)
    : Message(uuid, apiVersion)
    , faults_(std::move(faults)) {}

Response::Response(std::vector<Fault>&& faults, Version apiVersion)
    : Response("notset", std::move(faults), apiVersion) {}

Response::Response(Version apiVersion)
    : Response({}, apiVersion) {}

} // namespace connector::common::v1
