#pragma once

#include "Output.h"

#include <Poco/Dynamic/Var.h>

namespace connector::host {

/// Appends the JSON text of a value: one line of UTF-8, keys in the order in which Poco gives them.
/// Unlike Poco's stringifier it copies a string in runs and not byte by byte through a stream,
/// which is what files consist of.
void appendJson(Output& out, const Poco::Dynamic::Var& value);

} // namespace connector::host
