#include "Json.h"

#include <Poco/JSON/Array.h>

#include <algorithm>
#include <cstdint>
#include <simdjson.h>
#include <sstream>

namespace connector::host {

namespace {

constexpr auto NONE = std::string_view::npos;
constexpr std::string_view BETWEEN_VALUES = " \t\r\n,:";
constexpr std::string_view BEHIND_SCALAR = " \t\r\n,]}";

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

char firstOf(std::string_view text) {
  const auto first = text.find_first_not_of(" \t\r\n");
  return first == NONE ? '\0' : text[first];
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

using Poco::Dynamic::Var;
using Poco::JSON::Array;
using Poco::JSON::Object;
using simdjson::ondemand::json_type;
using simdjson::ondemand::value;

/// The slot of a member, which is new or replaces one of that name. Poco itself takes members by
/// copy alone, which for the contents of a file is dear.
Var& slotOf(Object& object, const std::string& name) {
  object.set(name, Var());
  return std::find_if(object.begin(), object.end(),
                      [&](const auto& member) { return member.first == name; })
      ->second;
}

std::string_view tokenOf(value& scalar) {
  const std::string_view token = scalar.raw_json_token();
  return token.substr(0, token.find_last_not_of(" \t\r\n") + 1);
}

void readString(Var& slot, value& string) {
  slot = std::string();
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast): the Var itself is not constant.
  auto& text = const_cast<std::string&>(slot.extract<std::string>());
  const auto token = tokenOf(string);
  if (token.find('\\') == NONE) {
    text = token.substr(1, token.size() - 2);
    return;
  }
  // The parser that is chosen for this processor when it runs, unlike the one for values.
  simdjson::dom::parser parser;
  text = std::string_view(parser.parse(token.data(), token.size(), false));
}

void readNumber(Var& slot, value& number) {
  if (std::int64_t integer = 0; number.get_int64().get(integer) == simdjson::SUCCESS) {
    slot = integer;
  } else if (std::uint64_t large = 0; number.get_uint64().get(large) == simdjson::SUCCESS) {
    slot = large;
  } else {
    slot = double(number.get_double());
  }
}

void read(Var& slot, value json, std::size_t depth); // NOLINT(misc-no-recursion): MAX_DEPTH

void readArray(Var& slot, simdjson::ondemand::array elements, std::size_t depth) {
  Array::Ptr array = new Array;
  for (auto element : elements) {
    Var item;
    read(item, element.value(), depth);
    array->add(item);
  }
  slot = array;
}

void readObject(Var& slot, simdjson::ondemand::object members, std::size_t depth) {
  Object::Ptr object = new Object;
  for (auto member : members) {
    const std::string name(std::string_view(member.unescaped_key()));
    read(slotOf(*object, name), member.value(), depth);
  }
  slot = object;
}

void readContainer(Var& slot, value& json, json_type type, std::size_t depth) {
  if (depth == MAX_DEPTH) {
    throw JsonError("nested too deep");
  }
  if (type == json_type::array) {
    readArray(slot, json.get_array(), depth + 1);
  } else {
    readObject(slot, json.get_object(), depth + 1);
  }
}

void read(Var& slot, value json, std::size_t depth) {
  switch (const json_type type = json.type()) {
  case json_type::array:
  case json_type::object:
    return readContainer(slot, json, type, depth);
  case json_type::string:
    return readString(slot, json);
  case json_type::number:
    return readNumber(slot, json);
  case json_type::boolean:
    slot = bool(json.get_bool());
    return;
  case json_type::null:
    if (!json.is_null()) {
      throw JsonError("not a value");
    }
  }
}

/// Kept from one short text to the next; what a long one takes is given back.
simdjson::ondemand::parser& parserFor(std::string_view text,
                                      std::optional<simdjson::ondemand::parser>& own) {
  constexpr std::size_t kept = 1024UL * 1024;
  static thread_local simdjson::ondemand::parser shared;
  return text.size() > kept ? own.emplace() : shared;
}

/// Hands over the root of a text that is an object or an array.
template <typename Take>
void readContainerText(const std::string& text, const Take& take) {
  std::optional<simdjson::ondemand::parser> own;
  auto& parser = parserFor(text, own);
  std::optional<simdjson::padded_string> copy;
  simdjson::padded_string_view padded(text.data(), text.size(), text.capacity());
  if (text.capacity() - text.size() < LOOK_AHEAD) {
    padded = copy.emplace(text);
  }
  auto document = parser.iterate(padded).value();
  take(document);
  if (document.current_location().error() != simdjson::OUT_OF_BOUNDS) {
    throw JsonError("more than one value");
  }
}

/// Runs `read`; what the parser throws becomes a JsonError.
template <typename Read>
auto reportingErrors(const Read& read) {
  try {
    return read();
  } catch (const simdjson::simdjson_error& e) {
    throw JsonError(e.what());
  }
}

/// Each element is read and dropped, so that a long array takes no more memory than one of them.
void checkArray(const std::string& text) {
  readContainerText(text, [](auto& document) {
    for (auto element : document.get_array()) {
      Var dropped;
      read(dropped, element.value(), 1);
    }
  });
}

/// Whether the string literal `quoted` stands for `name`.
bool isName(std::string_view quoted, std::string_view name) {
  if (quoted.find('\\') == NONE) {
    return quoted.substr(1, quoted.size() - 2) == name;
  }
  simdjson::dom::parser parser;
  return std::string_view(parser.parse(std::string(quoted))) == name;
}

} // namespace

Object::Ptr parseObject(const std::string& text) {
  if (firstOf(text) != '{') {
    checkJson(text);
    return {};
  }
  return reportingErrors([&] {
    Var object;
    readContainerText(text, [&](auto& document) { read(object, document.get_value(), 0); });
    return object.extract<Object::Ptr>();
  });
}

void checkJson(const std::string& text) {
  switch (firstOf(text)) {
  case '{':
    parseObject(text);
    return;
  case '[':
    return reportingErrors([&] { checkArray(text); });
  default:
    return reportingErrors([&] {
      simdjson::dom::parser parser;
      parser.parse(text).value();
    });
  }
}

bool isArray(std::string_view text) {
  return firstOf(text) == '[';
}

std::string writePrettyJson(const Poco::JSON::Object& object) {
  std::ostringstream out;
  object.stringify(out, 2);
  return out.str();
}

void forEachElement(std::string_view array, const std::function<void(std::string_view)>& take) {
  Cursor cursor(array);
  while (const auto element = cursor.next()) {
    take(*element);
  }
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
