#include "JsonWriter.h"

#include <Poco/JSON/Array.h>
#include <Poco/JSON/Object.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <string_view>
#include <typeinfo>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

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
  std::size_t length = 0;
#if defined(__SSE2__)
  const __m128i highestControl = _mm_set1_epi8(0x1F);
  for (; text.size() - length >= sizeof(__m128i); length += sizeof(__m128i)) {
    const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text.data() + length));
    const __m128i controls = _mm_cmpeq_epi8(_mm_min_epu8(block, highestControl), block);
    const __m128i marks = _mm_or_si128(_mm_cmpeq_epi8(block, _mm_set1_epi8('"')),
                                       _mm_cmpeq_epi8(block, _mm_set1_epi8('\\')));
    const int found = _mm_movemask_epi8(_mm_or_si128(controls, marks));
    if (found != 0) {
      return length + static_cast<std::size_t>(__builtin_ctz(static_cast<unsigned>(found)));
    }
  }
#endif
  const auto* const rest = text.begin() + length;
  return length + static_cast<std::size_t>(std::find_if(rest, text.end(), needsEscape) - rest);
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
    // In pieces that are sent while they are at hand, and while a reader takes the one before.
    const auto piece = text.substr(0, 128UL * 1024);
    const auto plain = plainLength(piece);
    out.append(piece.substr(0, plain));
    text.remove_prefix(plain);
    if (plain < piece.size()) {
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

template <typename Integer>
void appendInteger(Output& out, Integer value) {
  std::array<char, 20> digits{};
  const auto end = std::to_chars(digits.begin(), digits.end(), value).ptr;
  out.append({digits.data(), static_cast<std::size_t>(end - digits.data())});
}

} // namespace

void appendJson(Output& out, const Var& value) {
  if (value.isEmpty()) {
    return out.append("null");
  }
  const std::type_info& type = value.type();
  if (type == typeid(std::string)) {
    appendString(out, value.extract<std::string>());
  } else if (type == typeid(bool)) {
    out.append(value.extract<bool>() ? "true" : "false");
  } else if (type == typeid(Poco::Int64)) {
    appendInteger(out, value.extract<Poco::Int64>());
  } else if (type == typeid(Poco::UInt64)) {
    appendInteger(out, value.extract<Poco::UInt64>());
  } else if (type == typeid(Object::Ptr)) {
    appendObject(out, *value.extract<Object::Ptr>());
  } else if (type == typeid(Array::Ptr)) {
    appendArray(out, *value.extract<Array::Ptr>());
  } else if (value.isNumeric()) {
    out.append(value.toString());
  } else {
    appendString(out, value.toString());
  }
}

} // namespace connector::host
