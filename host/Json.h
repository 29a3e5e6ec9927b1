#pragma once

#include "Framing.h"

#include <Poco/JSON/Object.h>

#include <cstddef>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

/// JSON text to Poco's values, and to the texts of its parts; JsonWriter.h has the way back.
namespace connector::host {

/// Levels of arrays and objects that a text may have.
constexpr std::size_t MAX_DEPTH = 128;

class JsonError : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// The object that `text` is, or null when it is another value. A JsonError when it is no JSON, or
/// no UTF-8, or nested too deep. Of members with the same name the last one counts. A number beyond
/// 64 bits becomes the nearest double. A text with room for LOOK_AHEAD bytes
/// more is not copied.
Poco::JSON::Object::Ptr parseObject(const std::string& text);

/// Throws as parseObject; whatever value the text is.
void checkJson(const std::string& text);

/// Whether a text, if it is JSON at all, is an array.
bool isArray(std::string_view text);

/// For people to read.
std::string writePrettyJson(const Poco::JSON::Object& object);

/// Hands over the text of each element of an array, which `checkJson` must have taken.
void forEachElement(std::string_view array, const std::function<void(std::string_view)>& take);

/// The text of the value of a member, exactly as it stands in an object that `parseObject` must
/// have taken. Nothing when it has no such member.
std::optional<std::string_view> memberText(std::string_view object, std::string_view name);

} // namespace connector::host
