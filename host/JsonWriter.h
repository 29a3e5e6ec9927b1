#pragma once

#include "Output.h"

#include <Poco/Dynamic/Var.h>
#include <Poco/JSON/Object.h>

#include <cstddef>
#include <string>

/// Writes Poco's values as JSON.
namespace connector::host {

/// Appends one line of UTF-8, with keys in Poco's order. Poco's stringifier is slower, because it
/// copies strings byte by byte through a stream.
void appendJson(Output& out, const Poco::Dynamic::Var& value);

/// The text that appendJson appends.
std::string writeJson(const Poco::Dynamic::Var& value);

/// The number of bytes that appendJson appends.
std::size_t jsonSize(const Poco::Dynamic::Var& value);

/// An indented text for people.
std::string writePrettyJson(const Poco::JSON::Object& object);

} // namespace connector::host
