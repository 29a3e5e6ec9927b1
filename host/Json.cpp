#include "Json.h"

#include "Limits.h"
#include "TextScanner.h"

#include <algorithm>
#include <cstdint>
#include <new>
#include <simdjson.h>

namespace connector::host {

// Null with the allocator of a sanitizer, which lacks this function.
// NOLINTNEXTLINE(readability-identifier-naming): the name is the allocator's.
extern "C" __attribute__((weak)) void MallocExtension_ReleaseFreeMemory();

namespace {

constexpr auto NONE = std::string_view::npos;

char firstOf(std::string_view text) {
  const auto first = text.find_first_not_of(" \t\r\n");
  return first == NONE ? '\0' : text[first];
}

using Poco::Dynamic::Var;
using Poco::JSON::Array;
using Poco::JSON::Object;
using simdjson::ondemand::json_type;
using simdjson::ondemand::value;

/// Returns the value of a new member, which replaces one of the same name. Poco's own functions
/// copy the value, which is slow for the contents of a file.
Var& slotOf(Object& object, const std::string& name) {
  object.set(name, Var());
  return std::find_if(object.begin(), object.end(),
                      [&](const auto& member) { return member.first == name; })
      ->second;
}

/// Adds a member that `fill` fills in place. In a large object, finding the member
/// takes long, so the value is copied in.
template <typename Fill>
void addMember(Object& object, const std::string& name, const Fill& fill) {
  constexpr std::size_t few = 32;
  if (object.size() < few) {
    fill(slotOf(object, name));
    return;
  }
  Var content;
  fill(content);
  object.set(name, content);
}

std::string_view tokenOf(value& json) {
  const std::string_view token = json.raw_json_token();
  return token.substr(0, token.find_last_not_of(" \t\r\n") + 1);
}

std::string nameOf(simdjson::simdjson_result<simdjson::ondemand::field>& member) {
  const std::string_view name = member.unescaped_key();
  if (name.size() > MAX_NAME) {
    throw JsonError("too long a name");
  }
  return std::string(name);
}

void readString(Var& slot, value& string) {
  slot = std::string();
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast): the Var itself is not constant.
  auto& text = const_cast<std::string&>(slot.extract<std::string>());
  const auto token = tokenOf(string);
  string.get_raw_json_string().value(); // advances past the string; tokenOf does not
  if (token.find('\\') == NONE) {
    text = token.substr(1, token.size() - 2);
    return;
  }
  // A parser of its own, because that of `string` keeps a copy of each such string: the host would
  // need 112 MB instead of 74 MB for a batch of 60 MB.
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

/// The levels and values that may still follow. Poco needs hundreds of bytes for a small value.
struct Allowance {
  std::size_t levels;
  std::size_t values = MAX_VALUES;
};

void read(Var& slot, value json, Allowance& left); // recursive up to MAX_DEPTH

void readArray(Var& slot, simdjson::ondemand::array elements, Allowance& left) {
  Array::Ptr array = new Array;
  for (auto element : elements) {
    Var item;
    read(item, element.value(), left);
    array->add(item);
  }
  slot = array;
}

/// Sets `memberText` to the JSON text of the member `textName`.
ParsedObject readObject(simdjson::ondemand::object members, std::string_view textName,
                        Allowance& left) {
  ParsedObject result{new Object, std::nullopt};
  for (auto member : members) {
    const std::string name = nameOf(member);
    value content = member.value();
    if (name == textName && !textName.empty()) {
      result.memberText = std::string(tokenOf(content));
    }
    addMember(*result.object, name, [&](Var& slot) { read(slot, content, left); });
  }
  return result;
}

void readContainer(Var& slot, value& json, json_type type, Allowance& left) {
  if (left.levels == 0) {
    throw JsonError("nested too deep");
  }
  --left.levels;
  if (type == json_type::array) {
    readArray(slot, json.get_array(), left);
  } else {
    slot = readObject(json.get_object(), {}, left).object;
  }
  ++left.levels;
}

void read(Var& slot, value json, Allowance& left) {
  if (left.values == 0) {
    throw JsonError("too many values");
  }
  --left.values;
  switch (const json_type type = json.type()) {
  case json_type::array:
  case json_type::object:
    return readContainer(slot, json, type, left);
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

/// Whether a text is long enough to exceed MAX_TOKENS.
bool isLong(std::string_view text) {
  return text.size() > MAX_TOKENS;
}

void releaseFreeMemoryIfLong(std::string_view text) {
  if (isLong(text)) {
    releaseFreeMemory();
  }
}

void checkTokens(std::string_view text) {
  if (!isLong(text)) {
    return;
  }
  TextScanner scanner;
  scanner.scan(text);
  if (scanner.isMalformed() || scanner.tokens() > MAX_TOKENS) {
    throw JsonError(scanner.isMalformed() ? "not a value" : "too many values");
  }
}

/// Texts of at most `maxShared` bytes share a parser, which keeps its memory. A longer text gets
/// its `own`.
simdjson::ondemand::parser& parserFor(std::size_t size,
                                      std::optional<simdjson::ondemand::parser>& own) {
  constexpr std::size_t maxShared = 1024UL * 1024;
  static thread_local simdjson::ondemand::parser shared;
  return size > maxShared ? own.emplace() : shared;
}

/// Calls `take` with the document of a text that is an object or an array.
template <typename Take>
void readContainerText(std::string_view text, const Take& take) {
  static_assert(Text::PADDING >= simdjson::SIMDJSON_PADDING);
  std::optional<simdjson::ondemand::parser> own;
  auto& parser = parserFor(text.size(), own);
  const auto capacity = text.size() + simdjson::SIMDJSON_PADDING;
  auto document = parser.iterate(text.data(), text.size(), capacity).value();
  take(document);
  if (document.current_location().error() != simdjson::OUT_OF_BOUNDS) {
    throw JsonError("more than one value");
  }
}

/// Calls `read`, and throws a JsonError instead of the parser's exceptions.
template <typename Read>
auto reportingErrors(const Read& read) {
  try {
    return read();
  } catch (const simdjson::simdjson_error& e) {
    if (e.error() == simdjson::MEMALLOC) {
      throw std::bad_alloc(); // not an error in the text
    }
    throw JsonError(e.what());
  }
}

/// Only checks an element that is not an object.
ParsedObject readElement(value element, std::string_view name) {
  Allowance left{MAX_DEPTH - 1};
  if (element.type() == json_type::object) {
    --left.levels;
    return readObject(element.get_object(), name, left);
  }
  Var other;
  read(other, element, left);
  return {};
}

} // namespace

void releaseFreeMemory() {
  if (MallocExtension_ReleaseFreeMemory != nullptr) {
    MallocExtension_ReleaseFreeMemory();
  }
}

ParsedObject parseObject(const Text& text, std::string_view name) {
  releaseFreeMemoryIfLong(text.bytes());
  checkTokens(text.bytes());
  ParsedObject result;
  reportingErrors([&] {
    if (firstOf(text.bytes()) != '{') {
      simdjson::dom::parser parser;
      parser.parse(text.bytes().data(), text.bytes().size(), false).value(); // only to check it
      return;
    }
    readContainerText(text.bytes(), [&](auto& document) {
      Allowance left{MAX_DEPTH - 1};
      result = readObject(document.get_object(), name, left);
    });
  });
  releaseFreeMemoryIfLong(text.bytes());
  return result;
}

std::optional<std::size_t> countElements(const Text& text) {
  if (firstOf(text.bytes()) != '[') {
    return std::nullopt;
  }
  releaseFreeMemoryIfLong(text.bytes());
  checkTokens(text.bytes());
  std::size_t count = 0;
  forEachElement(text, {}, [&count](const auto&) { ++count; });
  return count;
}

void forEachElement(const Text& text, std::string_view name,
                    const std::function<void(const ParsedObject&)>& take) {
  reportingErrors([&] {
    readContainerText(text.bytes(), [&](auto& document) {
      for (auto element : document.get_array()) {
        const auto read = readElement(element.value(), name);
        releaseFreeMemoryIfLong(text.bytes());
        take(read);
      }
    });
  });
}

} // namespace connector::host
