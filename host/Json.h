#pragma once

#include <Poco/Dynamic/Var.h>
#include <Poco/JSON/Object.h>

#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

/// JSON text to Poco's values, and to the texts of its parts; JsonWriter.h has the way back.
namespace connector::host {

/// Levels of arrays and objects that a text may have.
constexpr std::size_t MAX_DEPTH = 128;

class JsonError : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// The object or array that `text` is. A text that is another value gives the empty Var, and one
/// that is no JSON, or no UTF-8, or nested too deep, a JsonError. Of members with the same name
/// the last one counts. A number beyond 64 bits becomes the nearest double.
Poco::Dynamic::Var parseJson(const std::string& text);

/// For people to read.
std::string writePrettyJson(const Poco::JSON::Object& object);

/// The texts of the elements of an array, which `parseJson` must have taken.
std::vector<std::string_view> elementTexts(std::string_view array);

/// The text of the value of a member, exactly as it stands in an object that `parseJson` must have
/// taken. Nothing when it has no such member.
std::optional<std::string_view> memberText(std::string_view object, std::string_view name);

} // namespace connector::host
