#include "Json.h"

#include <Poco/Exception.h>
#include <Poco/JSON/Array.h>
#include <Poco/JSON/Parser.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <sstream>

namespace connector::host {

namespace {

constexpr auto NONE = std::string_view::npos;
constexpr std::string_view BETWEEN_VALUES = " \t\r\n,:";
constexpr std::string_view BEHIND_SCALAR = " \t\r\n,]}";
constexpr std::string_view IN_NUMBER = "+-.0123456789Ee";

bool isEscaped(std::string_view text, std::size_t at) {
  const auto before = text.find_last_not_of('\\', at - 1);
  return (at - 1 - before) % 2 != 0;
}

/// Behind the string that begins at `at`; the end of the text when it is not closed.
std::size_t endOfString(std::string_view text, std::size_t at) {
  do {
    at = text.find('"', at + 1);
  } while (at != NONE && isEscaped(text, at));
  return at == NONE ? text.size() : at + 1;
}

template <typename Integer>
bool holds(std::string_view digits) {
  Integer value = 0;
  return std::from_chars(digits.data(), digits.data() + digits.size(), value).ec == std::errc();
}

bool isLongInteger(std::string_view number) {
  return number.size() > 18 && number.find_first_of(".Ee") == NONE &&
         !holds<std::int64_t>(number) && !holds<std::uint64_t>(number);
}

/// Poco's parser lets an integer beyond 64 bits wrap, or refuses it. Written with an exponent it is
/// read as a double. Nothing when the text has no such integer; it need not be well-formed.
std::optional<std::string> withExponents(std::string_view text) {
  std::string result;
  std::size_t copied = 0;
  for (std::size_t at = 0; at < text.size();) {
    const char c = text[at];
    if (c == '"') {
      at = endOfString(text, at);
      continue;
    }
    if (c != '-' && (c < '0' || c > '9')) {
      ++at;
      continue;
    }
    const auto begin = at;
    at = std::min(text.find_first_not_of(IN_NUMBER, at), text.size());
    if (!isLongInteger(text.substr(begin, at - begin))) {
      continue;
    }
    result.append(text.substr(copied, at - copied)).append("e0");
    copied = at;
  }
  if (copied == 0) {
    return std::nullopt;
  }
  return result.append(text.substr(copied));
}

bool isContainer(std::string_view text) {
  const auto first = text.find_first_not_of(" \t\r\n");
  return first != NONE && (text[first] == '{' || text[first] == '[');
}

/// Steps through the values of an array, or the names and values of an object, one level down.
class Cursor {
public:
  explicit Cursor(std::string_view container)
      : text_(container)
      , at_(container.find_first_of("[{") + 1) {}

  /// Nothing behind the last one.
  std::optional<std::string_view> next() {
    at_ = text_.find_first_not_of(BETWEEN_VALUES, at_);
    if (text_[at_] == ']' || text_[at_] == '}') {
      return std::nullopt;
    }
    const auto begin = at_;
    at_ = endOfValue();
    return text_.substr(begin, at_ - begin);
  }

private:
  [[nodiscard]] std::size_t endOfValue() const {
    switch (text_[at_]) {
    case '"':
      return endOfString(text_, at_);
    case '[':
    case '{':
      return endOfContainer();
    default:
      return text_.find_first_of(BEHIND_SCALAR, at_);
    }
  }

  [[nodiscard]] std::size_t endOfContainer() const {
    std::size_t depth = 0;
    auto at = at_;
    do {
      at = text_.find_first_of("\"[]{}", at);
      if (text_[at] == '"') {
        at = endOfString(text_, at);
        continue;
      }
      const bool opens = text_[at] == '[' || text_[at] == '{';
      depth = opens ? depth + 1 : depth - 1;
      ++at;
    } while (depth > 0);
    return at;
  }

  std::string_view text_;
  std::size_t at_;
};

/// Poco's texts quote single bytes, which may be a part of a character.
std::string withoutBytes(std::string text) {
  std::replace_if(
      text.begin(), text.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
  return text;
}

/// Poco's parser can build nothing but containers.
Poco::Dynamic::Var parseContainer(const std::string& text) {
  Poco::JSON::Parser parser;
  parser.setDepth(MAX_DEPTH);
  try {
    const auto rewritten = withExponents(text);
    return parser.parse(rewritten ? *rewritten : text);
  } catch (const Poco::Exception& e) {
    throw JsonError(withoutBytes(e.message()));
  }
}

/// Whether the string literal `quoted` stands for `name`.
bool isName(std::string_view quoted, std::string_view name) {
  if (quoted.find('\\') == NONE) {
    return quoted.substr(1, quoted.size() - 2) == name;
  }
  const auto array =
      parseContainer("[" + std::string(quoted) + "]").extract<Poco::JSON::Array::Ptr>();
  return array->getElement<std::string>(0) == name;
}

} // namespace

Poco::Dynamic::Var parseJson(const std::string& text) {
  // Poco's parser takes this byte, which no UTF-8 has, for the end of the text.
  if (text.find('\xFF') != std::string::npos) {
    throw JsonError("invalid UTF-8");
  }
  if (isContainer(text)) {
    return parseContainer(text);
  }
  if (parseContainer("[" + text + "]").extract<Poco::JSON::Array::Ptr>()->size() != 1) {
    throw JsonError("not one value");
  }
  return {};
}

std::string writePrettyJson(const Poco::JSON::Object& object) {
  std::ostringstream out;
  object.stringify(out, 2);
  return out.str();
}

std::vector<std::string_view> elementTexts(std::string_view array) {
  std::vector<std::string_view> result;
  Cursor cursor(array);
  while (const auto element = cursor.next()) {
    result.push_back(*element);
  }
  return result;
}

std::optional<std::string_view> memberText(std::string_view object, std::string_view name) {
  std::optional<std::string_view> result;
  Cursor cursor(object);
  while (const auto key = cursor.next()) {
    const auto value = cursor.next();
    if (isName(*key, name)) {
      result = value;
    }
  }
  return result;
}

} // namespace connector::host
