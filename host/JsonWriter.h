#pragma once

#include <Poco/Dynamic/Var.h>

#include <string>

namespace connector::host {

/// Appends the JSON text of a value: one line of UTF-8, keys in the order in which Poco gives them.
/// Unlike Poco's stringifier it copies a string in runs and not byte by byte through a stream,
/// which is what files consist of.
void appendJson(std::string& out, const Poco::Dynamic::Var& value);

} // namespace connector::host
