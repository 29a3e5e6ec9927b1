#include "JsonWriter.h"

#include <Poco/JSON/Array.h>
#include <Poco/JSON/Object.h>

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <typeinfo>

namespace connector::host {

namespace {

using Poco::Dynamic::Var;
using Poco::JSON::Array;
using Poco::JSON::Object;

bool needsEscape(char c) {
  return static_cast<unsigned char>(c) < 0x20 || c == '"' || c == '\\';
}

/// How many characters a text begins with that stand for themselves.
std::size_t plainLength(std::string_view text) {
  constexpr std::size_t block = 32; // whole blocks, so that the compiler takes one in few steps
  std::size_t length = 0;
  while (text.size() - length >= block) {
    bool found = false;
    for (std::size_t index = 0; index < block; ++index) {
      found |= needsEscape(text[length + index]);
    }
    if (found) {
      break;
    }
    length += block;
  }
  const auto* const begin = text.data() + length;
  return length + static_cast<std::size_t>(
                      std::find_if(begin, text.data() + text.size(), needsEscape) - begin);
}

void appendEscape(Output& out, char c) {
  constexpr std::string_view named = "\"\\\b\f\n\r\t";
  constexpr std::string_view names = "\"\\bfnrt";
  constexpr std::string_view digits = "0123456789ABCDEF";
  out.append('\\');
  if (const auto at = named.find(c); at != std::string_view::npos) {
    out.append(names[at]);
    return;
  }
  const auto code = static_cast<unsigned char>(c);
  out.append("u00");
  out.append(digits[code >> 4U]);
  out.append(digits[code & 0xFU]);
}

void appendString(Output& out, std::string_view text) {
  out.append('"');
  while (!text.empty()) {
    const auto plain = plainLength(text);
    out.append(text.substr(0, plain));
    text.remove_prefix(plain);
    if (!text.empty()) {
      appendEscape(out, text.front());
      text.remove_prefix(1);
    }
  }
  out.append('"');
}

void appendObject(Output& out, const Object& object) {
  out.append('{');
  bool first = true;
  for (const auto& [name, value] : object) {
    out.append(first ? "" : ",");
    first = false;
    appendString(out, name);
    out.append(':');
    appendJson(out, value);
  }
  out.append('}');
}

void appendArray(Output& out, const Array& array) {
  out.append('[');
  bool first = true;
  for (const auto& value : array) {
    out.append(first ? "" : ",");
    first = false;
    appendJson(out, value);
  }
  out.append(']');
}

} // namespace

void appendJson(Output& out, const Var& value) {
  if (value.isEmpty()) {
    out.append("null");
  } else if (value.type() == typeid(std::string)) {
    appendString(out, value.extract<std::string>());
  } else if (value.type() == typeid(Object::Ptr)) {
    appendObject(out, *value.extract<Object::Ptr>());
  } else if (value.type() == typeid(Array::Ptr)) {
    appendArray(out, *value.extract<Array::Ptr>());
  } else if (value.isNumeric() || value.isBoolean()) {
    out.append(value.toString());
  } else {
    appendString(out, value.toString());
  }
}

} // namespace connector::host
