#pragma once

#include "Descriptors.h"
#include "JsonRpc.h"
#include "Options.h"

#include <Poco/JSON/Array.h>
#include <Poco/JSON/Object.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace connector::host {

/// Assembles the file service with its provider and converters, as a hosting framework does. The
/// provider runs as long as the object exists.
std::unique_ptr<Api> makeFileApi();

/// Returns an Api that executes requests by `api` and writes one line for each to standard error:
/// its type, duration and outcome. From this call on, the process also writes there the causes of
/// faults, which the service logs.
std::unique_ptr<Api> makeLoggingApi(std::unique_ptr<Api> api);

/// Returns the Model Context Protocol: an Api that offers each request of `files` as a tool.
/// `server/discover`, and any request whose `_meta` has a protocol version, belong to the stateless
/// protocol of 2026-07-28. Other requests belong to the earlier protocol, which begins with
/// `initialize`. No state is kept between requests. `roots` are the open directories of the
/// confinement.
std::unique_ptr<Api> makeMcpApi(std::unique_ptr<Api> files, const Options& options,
                                const std::vector<int>& roots);

/// A fault with its condition and the paths that it concerns.
struct Fault {
  std::string condition;
  std::string message;
  std::vector<std::string> paths;
};

/// Returns the fault in a response, or nullopt if the operation succeeded.
inline std::optional<Fault> faultIn(const Poco::JSON::Object& response) {
  const auto faults = response.getArray("messageFaults");
  if (faults.isNull() || faults->empty()) {
    return std::nullopt;
  }
  const auto fault = faults->getObject(0);
  const auto condition = fault->getArray("faultConditions")->getObject(0);
  Fault result{
      condition->getValue<std::string>("faultId"), fault->getValue<std::string>("message"), {}};
  for (const auto& path : *condition->getArray("faultInfo")) {
    result.paths.push_back(path.toString());
  }
  return result;
}

enum class ExitStatus { success = 0, fault = 1, failure = 2 };

/// Answers the requests from standard input on standard output. Returns at the end of the input,
/// after a signal or `exit`, or if nobody reads the output. The status is `fault` if `exit` was
/// sent without `shutdown` before it.
ExitStatus serve(const Options& options, const Api& api, const Termination& termination);

/// Builds the request of `call` from its arguments, standard input or files. Returns null if a
/// termination is requested before the request is complete.
Poco::JSON::Object::Ptr callRequest(const Options& options, const Termination& termination);

/// Executes one request and prints the response on standard output. Throws an Error or another
/// exception if there is no response.
ExitStatus call(const Options& options, const Api& api, const Poco::JSON::Object::Ptr& request);

/// Describes the keys of a request for people. `type` may be its short name. Throws an Error if
/// the type is unknown.
std::string callHelp(const std::string& type);

} // namespace connector::host
