#include <connector/common/v1/Fault.h>
#include <connector/common/v1/Message.h>

#include <utility>

namespace connector::common::v1 {

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
