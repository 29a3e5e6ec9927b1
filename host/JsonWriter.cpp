#include "JsonWriter.h"

#include <Poco/JSON/Array.h>
#include <Poco/JSON/Object.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <string_view>
#include <typeinfo>
#include <utility>

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

#if defined(__SSE2__)
/// Which of 16 characters need an escape, one bit each.
unsigned escapesIn(__m128i block) {
  const __m128i highestControl = _mm_set1_epi8(0x1F);
  const __m128i controls = _mm_cmpeq_epi8(_mm_min_epu8(block, highestControl), block);
  const __m128i marks = _mm_or_si128(_mm_cmpeq_epi8(block, _mm_set1_epi8('"')),
                                     _mm_cmpeq_epi8(block, _mm_set1_epi8('\\')));
  return static_cast<unsigned>(_mm_movemask_epi8(_mm_or_si128(controls, marks)));
}

unsigned escapesIn16(const char* text) {
  return escapesIn(_mm_loadu_si128(reinterpret_cast<const __m128i*>(text)));
}

unsigned escapesIn8(const char* text) {
  return escapesIn(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(text))) & 0xFFU;
}

/// As plainLength, of a text that has a block; its end lies in a block that overlaps the one
/// before.
template <std::size_t block, unsigned (*escapesInBlock)(const char*)>
std::size_t plainLengthByBlocks(std::string_view text) {
  const std::size_t last = text.size() - block;
  for (std::size_t position = 0;; position = std::min(position + block, last)) {
    if (const unsigned escapes = escapesInBlock(text.data() + position); escapes != 0) {
      return position + static_cast<std::size_t>(__builtin_ctz(escapes));
    }
    if (position == last) {
      return text.size();
    }
  }
}
#endif

/// How many characters a text begins with that stand for themselves.
std::size_t plainLength(std::string_view text) {
#if defined(__SSE2__)
  if (text.size() >= 16) {
    return plainLengthByBlocks<16, escapesIn16>(text);
  }
  if (text.size() >= 8) {
    return plainLengthByBlocks<8, escapesIn8>(text);
  }
#endif
  return static_cast<std::size_t>(std::find_if(text.begin(), text.end(), needsEscape) -
                                  text.begin());
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

/// Between two elements, not before the first one.
class Comma {
public:
  void appendTo(Output& out) {
    if (std::exchange(isDue_, true)) {
      out.append(',');
    }
  }

private:
  bool isDue_ = false;
};

void appendObject(Output& out, const Object& object) {
  out.append('{');
  Comma comma;
  for (const auto& [name, value] : object) {
    comma.appendTo(out);
    appendString(out, name);
    out.append(':');
    appendJson(out, value);
  }
  out.append('}');
}

void appendArray(Output& out, const Array& array) {
  out.append('[');
  Comma comma;
  for (const auto& value : array) {
    comma.appendTo(out);
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

enum class Kind { null, truth, text, integer, natural, object, array, otherNumber, other };

struct KindOfType {
  const std::type_info* type;
  Kind kind;
};

constexpr std::array KINDS{
    KindOfType{&typeid(bool), Kind::truth},
    KindOfType{&typeid(std::string), Kind::text},
    KindOfType{&typeid(Poco::Int64), Kind::integer},
    KindOfType{&typeid(Poco::UInt64), Kind::natural},
    KindOfType{&typeid(Object::Ptr), Kind::object},
    KindOfType{&typeid(Array::Ptr), Kind::array},
};

Kind kindOf(const Var& value) {
  if (value.isEmpty()) {
    return Kind::null;
  }
  const std::type_info& type = value.type();
  // Types that are not equal are so only by their names, which takes longer than all the addresses.
  for (const KindOfType& candidate : KINDS) {
    if (candidate.type == &type) {
      return candidate.kind;
    }
  }
  for (const KindOfType& candidate : KINDS) {
    if (*candidate.type == type) {
      return candidate.kind;
    }
  }
  return value.isNumeric() ? Kind::otherNumber : Kind::other;
}

} // namespace

void appendJson(Output& out, const Var& value) {
  switch (kindOf(value)) {
  case Kind::null:
    return out.append("null");
  case Kind::truth:
    return out.append(value.extract<bool>() ? "true" : "false");
  case Kind::text:
    return appendString(out, value.extract<std::string>());
  case Kind::integer:
    return appendInteger(out, value.extract<Poco::Int64>());
  case Kind::natural:
    return appendInteger(out, value.extract<Poco::UInt64>());
  case Kind::object:
    return appendObject(out, *value.extract<Object::Ptr>());
  case Kind::array:
    return appendArray(out, *value.extract<Array::Ptr>());
  case Kind::otherNumber:
    return out.append(value.toString());
  case Kind::other:
    return appendString(out, value.toString());
  }
}

} // namespace connector::host
