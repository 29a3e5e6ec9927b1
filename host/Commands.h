#pragma once

#include "JsonRpc.h"
#include "Options.h"

namespace connector::host {

enum class ExitStatus { success = 0, fault = 1, failure = 2 };

/// Answers requests from standard input on standard output until the input ends, or `stop`
/// becomes readable, or the reader of the answers goes away.
ExitStatus serve(const Options& options, const Api& api, int stop);

/// Answers one message on standard output; what kept it from being answered goes to standard error.
ExitStatus call(const Options& options, const Api& api, int stop);

} // namespace connector::host
