#pragma once

#include "Text.h"

#include <Poco/JSON/Object.h>

#include <cstddef>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

/// Parses JSON into Poco's values; JsonWriter.h writes them.
namespace connector::host {

class JsonError : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

struct ObjectWithText {
  Poco::JSON::Object::Ptr object;        ///< null for any other value
  std::optional<std::string> memberText; ///< of one member; of an object or array, its beginning
};

// All functions throw a JsonError if the text is not valid JSON or UTF-8, is nested too deep or has
// too many values. The last of several members with the same name is kept. A number beyond 64 bits
// becomes the nearest double. A padded text is parsed in place; any other text is copied.

/// Parses a text; `memberText` is that of the member `name`.
ObjectWithText parseObject(const Text& text, std::string_view name = {});

// An array is parsed twice, because no request of a batch may be executed if a later one is
// invalid. To keep the parsed elements instead would take up to 270 times the memory of the text
// (of `{}` values). The first pass checks everything and keeps nothing; it costs some 5 % of the
// time for a batch of small OpenFile requests. The second pass keeps one element at a time.

/// Checks a text that isArray, and returns the number of its elements.
std::size_t countElements(const Text& text);

/// As parseObject, for each element of an array that countElements has checked. `take` must not
/// parse.
void forEachElement(const Text& text, std::string_view name,
                    const std::function<void(const ObjectWithText&)>& take);

/// Whether a text is an array, provided that it is JSON.
bool isArray(std::string_view text);

} // namespace connector::host
