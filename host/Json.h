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

struct ObjectWithText {
  Poco::JSON::Object::Ptr object;        ///< null for any other value
  std::optional<std::string> memberText; ///< of one value; of an array or object, only its bracket
};

// Parsing throws a JsonError if the text is not valid JSON or UTF-8, is nested too deep or has too
// many values. The last of several members with the same name is kept. A number beyond 64 bits
// becomes the nearest double.

/// Parses a text. Sets `memberText` to the JSON text of the member `name`.
ObjectWithText parseObject(const Text& text, std::string_view name = {});

// An array is parsed twice, because no request of a batch may be executed if a later one is
// invalid. To keep the parsed elements instead would take up to 270 times the memory of the text
// (for `{}` elements). The first pass checks everything and keeps nothing; it costs some 5 % of the
// time for a batch of small OpenFile requests. The second pass keeps one element at a time.

/// Checks an array, and returns the number of its elements. Returns nullopt for any other text.
std::optional<std::size_t> countElements(const Text& text);

/// Calls `take` with each element of an array that countElements has checked, as parseObject
/// returns it. `take` must not parse.
void forEachElement(const Text& text, std::string_view name,
                    const std::function<void(const ObjectWithText&)>& take);

/// Lets the allocator return freed memory to the system. Otherwise the process would keep the
/// copies of one long text beside those of the next.
void releaseFreeMemory();

/// Appends one line of UTF-8, with keys in Poco's order. Poco's stringifier is slower, because it
/// copies strings byte by byte through a stream.
void appendJson(Output& out, const Poco::Dynamic::Var& value);

/// The text that appendJson appends.
std::string writeJson(const Poco::Dynamic::Var& value);

/// The number of bytes that appendJson appends.
std::size_t jsonSize(const Poco::Dynamic::Var& value);

/// An indented text for people.
std::string writePrettyJson(const Poco::JSON::Object& object);

/// An object whose members keep this order.
Poco::JSON::Object::Ptr
makeObject(std::initializer_list<std::pair<const char*, Poco::Dynamic::Var>> members = {});

Poco::JSON::Array::Ptr makeArray(std::initializer_list<Poco::Dynamic::Var> elements = {});

} // namespace connector::host
