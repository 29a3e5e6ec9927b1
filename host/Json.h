#pragma once

#include "Text.h"

#include <Poco/JSON/Object.h>

#include <cstddef>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

/// JSON text to Poco's values; JsonWriter.h has the way back.
namespace connector::host {

/// Levels of arrays and objects that a text may have.
constexpr std::size_t MAX_DEPTH = 128;

/// Values that an object may hold, at all levels, and so may each element of a batch.
constexpr std::size_t MAX_VALUES = 100'000;

class JsonError : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// An object, or null where there is another value, and the text of one of its members exactly as
/// it stands, or the beginning of it when it is an object or array.
struct ObjectWithText {
  Poco::JSON::Object::Ptr object;
  std::optional<std::string> memberText;
};

// Each throws a JsonError when `text` is no JSON, or no UTF-8, or nested too deep, or of too many
// values. Of members with the same name the last one counts. A number beyond 64 bits becomes the
// nearest double, if any. A text with room behind it is not copied.

/// The object that `text` is, with the text of the member `name`.
ObjectWithText parseObject(const Text& text, std::string_view name = {});

/// Checks the array that `text` must be, and tells how many elements it has.
std::size_t countElements(const Text& text);

/// As parseObject, for each element of an array that was counted. One at a time is in memory;
/// `take` must not parse.
void forEachElement(const Text& text, std::string_view name,
                    const std::function<void(const ObjectWithText&)>& take);

/// Whether a text, if it is JSON at all, is an array.
bool isArray(std::string_view text);

/// For people to read.
std::string writePrettyJson(const Poco::JSON::Object& object);

} // namespace connector::host
