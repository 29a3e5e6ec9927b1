#include "JsonWriter.h"

#include <Poco/JSON/Array.h>
#include <Poco/JSON/Object.h>

#include <algorithm>
#include <string_view>
#include <typeinfo>

namespace connector::host {

namespace {

using Poco::Dynamic::Var;
using Poco::JSON::Array;
using Poco::JSON::Object;

// From this size on a string makes its own room, with some to spare for what follows it: growing by
// doubling would hold twice as much.
constexpr std::size_t LONG_STRING = 64UL * 1024;

bool needsEscape(char c) {
  return static_cast<unsigned char>(c) < 0x20 || c == '"' || c == '\\';
}

void appendEscape(std::string& out, char c) {
  constexpr std::string_view named = "\"\\\b\f\n\r\t";
  constexpr std::string_view names = "\"\\bfnrt";
  constexpr std::string_view digits = "0123456789ABCDEF";
  if (const auto at = named.find(c); at != std::string_view::npos) {
    out.append({'\\', names[at]});
    return;
  }
  const auto code = static_cast<unsigned char>(c);
  out.append("\\u00").append({digits[code >> 4U], digits[code & 0xFU]});
}

void appendString(std::string& out, std::string_view text) {
  if (text.size() > LONG_STRING) {
    out.reserve(out.size() + text.size() + LONG_STRING);
  }
  out += '"';
  const auto* position = text.begin();
  while (position != text.end()) {
    const auto* const escape = std::find_if(position, text.end(), needsEscape);
    out.append(position, escape);
    position = escape;
    if (position != text.end()) {
      appendEscape(out, *position++);
    }
  }
  out += '"';
}

void appendObject(std::string& out, const Object& object) {
  out += '{';
  bool first = true;
  for (const auto& [name, value] : object) {
    out.append(first ? "" : ",");
    first = false;
    appendString(out, name);
    out += ':';
    appendJson(out, value);
  }
  out += '}';
}

void appendArray(std::string& out, const Array& array) {
  out += '[';
  bool first = true;
  for (const auto& value : array) {
    out.append(first ? "" : ",");
    first = false;
    appendJson(out, value);
  }
  out += ']';
}

} // namespace

void appendJson(std::string& out, const Var& value) {
  if (value.isEmpty()) {
    out += "null";
  } else if (value.type() == typeid(std::string)) {
    appendString(out, value.extract<std::string>());
  } else if (value.type() == typeid(Object::Ptr)) {
    appendObject(out, *value.extract<Object::Ptr>());
  } else if (value.type() == typeid(Array::Ptr)) {
    appendArray(out, *value.extract<Array::Ptr>());
  } else if (value.isNumeric() || value.isBoolean()) {
    out += value.toString();
  } else {
    appendString(out, value.toString());
  }
}

} // namespace connector::host
