#pragma once

#include "JsonRpc.h"
#include "Options.h"
#include "Termination.h"

namespace connector::host {

enum class ExitStatus { success = 0, fault = 1, failure = 2 };

/// Answers requests from standard input on standard output until the input ends, a termination
/// is requested, or the reader of the answers goes away.
ExitStatus serve(const Options& options, const Api& api, const Termination& termination);

/// Answers one message on standard output; what kept it from being answered goes to standard error.
ExitStatus call(const Options& options, const Api& api, const Termination& termination);

} // namespace connector::host
