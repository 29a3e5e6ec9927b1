#pragma once

#include "Streams.h"

#include <Poco/Dynamic/Var.h>
#include <Poco/JSON/Array.h>
#include <Poco/JSON/Object.h>

#include <cstddef>
#include <functional>
#include <initializer_list>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

/// Parses, builds and writes Poco's JSON values.
namespace connector::host {

class JsonError : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

struct ParsedObject {
  Poco::JSON::Object::Ptr object;        ///< null if the text is not an object
  std::optional<std::string> memberText; ///< of an array or object, only its first bracket
};

// Parsing throws a JsonError if the text is not valid JSON or UTF-8, or exceeds a limit of depth,
// values, tokens or names in Limits.h. The last of several members with the same name is kept. An
// integer beyond 64 bits becomes the nearest double; a number beyond a double throws.

/// Parses a text. Sets `memberText` to the JSON text of the member `name`.
ParsedObject parseObject(const Text& text, std::string_view name = {});

// An array is parsed twice, because no request of a batch may be executed if a later part is not
// JSON. To keep the parsed elements instead would take up to 270 times the memory of the text
// (for `{}` elements). The first pass checks everything and keeps nothing; it costs some 5 % of the
// time for a batch of small OpenFile requests. The second pass keeps one element at a time.

/// Checks an array, and returns the number of its elements. Returns nullopt for any other text.
std::optional<std::size_t> countElements(const Text& text);

/// Calls `take` with each element of an array that countElements has checked, as parseObject
/// returns it. `take` must not parse a text, because short texts share a parser.
void forEachElement(const Text& text, std::string_view name,
                    const std::function<void(const ParsedObject&)>& take);

/// Lets the allocator return freed memory to the system. Otherwise the process would keep the
/// copies of one long text beside those of the next.
void releaseFreeMemory();

/// Appends JSON without line breaks, with keys sorted by their bytes. Poco's stringifier is slower,
/// because it copies strings byte by byte through a stream.
void appendJson(Output& out, const Poco::Dynamic::Var& value);

/// The text that appendJson appends.
std::string writeJson(const Poco::Dynamic::Var& value);

/// The number of bytes that appendJson appends.
std::size_t jsonSize(const Poco::Dynamic::Var& value);

/// An indented text for people.
std::string writePrettyJson(const Poco::JSON::Object& object);

/// An object whose members writePrettyJson writes in this order. appendJson sorts them.
Poco::JSON::Object::Ptr
makeObject(std::initializer_list<std::pair<const char*, Poco::Dynamic::Var>> members = {});

Poco::JSON::Array::Ptr makeArray(std::initializer_list<Poco::Dynamic::Var> elements = {});

} // namespace connector::host
