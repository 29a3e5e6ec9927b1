#pragma once

#include "Descriptors.h"
#include "JsonRpc.h"
#include "Options.h"

namespace connector::host {

enum class ExitStatus { success = 0, fault = 1, failure = 2 };

/// Answers the requests from standard input on standard output. Returns when the input ends, a
/// termination is requested or the reader of the output has gone away.
ExitStatus serve(const Options& options, const Api& api, const Termination& termination);

/// Builds the request of `call` from its arguments and from the files that they name. Returns null
/// if a termination is requested before the request is complete.
Poco::JSON::Object::Ptr callRequest(const Options& options, const Termination& termination);

/// Executes one request and prints the response on standard output. Throws an Error or another
/// exception if there is no response.
ExitStatus call(const Options& options, const Api& api, const Poco::JSON::Object::Ptr& request);

/// Describes the keys of a request for people. `type` may be its short name. Throws an Error if
/// there is no such request.
std::string callHelp(const std::string& type);

} // namespace connector::host
