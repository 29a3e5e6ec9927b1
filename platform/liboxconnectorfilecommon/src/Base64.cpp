#include "Base64.h"

#include "Bytes.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>

#if defined(__SSE2__)
#include <immintrin.h>
#endif

namespace connector::file_common::v1 {

namespace {

constexpr std::string_view ALPHABET =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr char PADDING = '=';
constexpr std::uint32_t INVALID = 0x80000000; // a bit that no value of a digit has

constexpr std::array<std::uint32_t, 256> makeValues() {
  std::array<std::uint32_t, 256> values{};
  for (auto& value : values) {
    value = INVALID;
  }
  for (std::size_t value = 0; value < ALPHABET.size(); ++value) {
    values[static_cast<unsigned char>(ALPHABET[value])] = static_cast<std::uint32_t>(value);
  }
  return values;
}

constexpr auto VALUES = makeValues();

std::uint32_t byteAt(const char* bytes, std::size_t index) {
  return static_cast<unsigned char>(bytes[index]);
}

// A group is 3 bytes, or 4 digits. A converter converts groups from `in` to `out` and returns the
// number of converted groups. Decoding stops at a group with an invalid character.

using Converter = std::size_t (*)(const char* in, std::size_t groups, char* out);

std::size_t encodeScalar(const char* in, std::size_t groups, char* out) {
  for (std::size_t group = 0; group < groups; ++group, in += 3, out += 4) {
    const std::uint32_t bits = byteAt(in, 0) << 16U | byteAt(in, 1) << 8U | byteAt(in, 2);
    for (std::size_t digit = 0; digit < 4; ++digit) {
      out[digit] = ALPHABET[bits >> (18 - 6 * digit) & 0x3FU];
    }
  }
  return groups;
}

std::size_t decodeScalar(const char* in, std::size_t groups, char* out) {
  for (std::size_t group = 0; group < groups; ++group, in += 4, out += 3) {
    std::uint32_t bits = 0;
    std::uint32_t error = 0;
    for (std::size_t digit = 0; digit < 4; ++digit) {
      const std::uint32_t value = VALUES[byteAt(in, digit)];
      error |= value & INVALID;
      bits = bits << 6U | value;
    }
    if (error != 0) {
      return group;
    }
    for (std::size_t index = 0; index < 3; ++index) {
      out[index] = static_cast<char>(bits >> (16 - 8 * index));
    }
  }
  return groups;
}

#if defined(__SSE2__)

__m128i load(const char* from) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
}

void store(char* to, __m128i bytes) {
  _mm_storeu_si128(reinterpret_cast<__m128i*>(to), bytes);
}

// The SSSE3 converters convert four groups per step. A step reads and writes 16 bytes even if it
// needs only 12, so they leave the last groups unconverted.

__attribute__((target("ssse3"))) std::size_t encodeSsse3(const char* in, std::size_t groups,
                                                         char* out) {
  const __m128i spread = _mm_setr_epi8(1, 0, 2, 1, 4, 3, 5, 4, 7, 6, 8, 7, 10, 9, 11, 10);
  // Added to the value of a digit to get its character; indexed by the range of the value.
  const __m128i offsets =
      _mm_setr_epi8('a' - 26, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52,
                    '0' - 52, '0' - 52, '0' - 52, '+' - 62, '/' - 63, 'A', 0, 0);
  std::size_t group = 0;
  for (; group + 6 <= groups; group += 4, in += 12, out += 16) {
    const __m128i bytes = _mm_shuffle_epi8(load(in), spread);
    // The multiplications shift each of the four digits of a group to the low end of a byte.
    const __m128i even = _mm_mulhi_epu16(_mm_and_si128(bytes, _mm_set1_epi32(0x0FC0FC00)),
                                         _mm_set1_epi32(0x04000040));
    const __m128i odd = _mm_mullo_epi16(_mm_and_si128(bytes, _mm_set1_epi32(0x003F03F0)),
                                        _mm_set1_epi32(0x01000010));
    const __m128i values = _mm_or_si128(even, odd);
    const __m128i isUpper = _mm_cmpgt_epi8(_mm_set1_epi8(26), values);
    const __m128i range = _mm_or_si128(_mm_subs_epu8(values, _mm_set1_epi8(51)),
                                       _mm_and_si128(isUpper, _mm_set1_epi8(13)));
    store(out, _mm_add_epi8(values, _mm_shuffle_epi8(offsets, range)));
  }
  return group;
}

__attribute__((target("ssse3"))) std::size_t decodeSsse3(const char* in, std::size_t groups,
                                                         char* out) {
  // A character is a digit if the masks of its two halves have no bit in common.
  const __m128i lowMasks = _mm_setr_epi8(0x15, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11,
                                         0x13, 0x1A, 0x1B, 0x1B, 0x1B, 0x1A);
  const __m128i highMasks = _mm_setr_epi8(0x10, 0x10, 0x01, 0x02, 0x04, 0x08, 0x04, 0x08, 0x10,
                                          0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10);
  // Added to a character to get its value; indexed by the upper half, minus one for a slash.
  const __m128i offsets = _mm_setr_epi8(0, 63 - '/', 62 - '+', 52 - '0', -'A', -'A', 26 - 'a',
                                        26 - 'a', 0, 0, 0, 0, 0, 0, 0, 0);
  const __m128i gather = _mm_setr_epi8(2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1);
  const __m128i half = _mm_set1_epi8(0x0F);
  std::size_t group = 0;
  for (; group + 6 <= groups; group += 4, in += 16, out += 12) {
    const __m128i text = load(in);
    const __m128i high = _mm_and_si128(_mm_srli_epi32(text, 4), half);
    const __m128i errors = _mm_and_si128(_mm_shuffle_epi8(lowMasks, _mm_and_si128(text, half)),
                                         _mm_shuffle_epi8(highMasks, high));
    if (_mm_movemask_epi8(_mm_cmpeq_epi8(errors, _mm_setzero_si128())) != 0xFFFF) {
      break;
    }
    const __m128i isSlash = _mm_cmpeq_epi8(text, _mm_set1_epi8('/'));
    const __m128i values =
        _mm_add_epi8(text, _mm_shuffle_epi8(offsets, _mm_add_epi8(isSlash, high)));
    const __m128i pairs = _mm_maddubs_epi16(values, _mm_set1_epi32(0x01400140));
    const __m128i wholes = _mm_madd_epi16(pairs, _mm_set1_epi32(0x00011000));
    store(out, _mm_shuffle_epi8(wholes, gather));
  }
  return group;
}

const bool HAS_SSSE3 = static_cast<bool>(__builtin_cpu_supports("ssse3"));
const Converter FAST_ENCODE = HAS_SSSE3 ? encodeSsse3 : encodeScalar;
const Converter FAST_DECODE = HAS_SSSE3 ? decodeSsse3 : decodeScalar;

#else

constexpr Converter FAST_ENCODE = encodeScalar;
constexpr Converter FAST_DECODE = decodeScalar;

#endif

void encode(const char* in, std::size_t groups, char* out) {
  const std::size_t done = FAST_ENCODE(in, groups, out);
  encodeScalar(in + 3 * done, groups - done, out + 4 * done);
}

/// Returns false if a character is not a digit.
bool decode(const char* in, std::size_t groups, char* out) {
  const std::size_t done = FAST_DECODE(in, groups, out);
  return decodeScalar(in + 4 * done, groups - done, out + 3 * done) == groups - done;
}

} // namespace

void appendBase64(std::string& text, std::string_view bytes) {
  // Encodes block by block, since resizing the string would first fill it with zeros. A block stays
  // in the cache, so copying it costs little.
  constexpr std::size_t blockGroups = 1024;
  std::array<char, 4 * blockGroups> block; // NOLINT(*-member-init): written before it is read
  text.reserve(text.size() + (bytes.size() + 2) / 3 * 4);
  while (bytes.size() >= 3) {
    const std::size_t groups = std::min(bytes.size() / 3, blockGroups);
    encode(bytes.data(), groups, block.data());
    text.append(block.data(), 4 * groups);
    bytes.remove_prefix(3 * groups);
  }
  if (!bytes.empty()) {
    std::array<char, 3> last{};
    std::copy(bytes.begin(), bytes.end(), last.begin());
    encode(last.data(), 1, block.data());
    text.append(block.data(), bytes.size() + 1).append(3 - bytes.size(), PADDING);
  }
}

std::optional<DataBuffer> fromBase64(std::string_view text) {
  const std::size_t padding = text.size() - (text.find_last_not_of(PADDING) + 1);
  if (text.size() % 4 != 0 || padding > 2) {
    return std::nullopt;
  }
  const std::size_t wholeGroups = (text.size() - padding) / 4;
  const std::size_t size = text.size() / 4 * 3 - padding;
  DataBuffer::Memory memory = allocate(size);
  if (!decode(text.data(), wholeGroups, memory.get())) {
    return std::nullopt;
  }
  if (padding > 0) {
    std::string last(text.substr(4 * wholeGroups, 4 - padding));
    last.append(padding, ALPHABET[0]); // whose value is 0
    std::array<char, 3> bytes{};
    auto* const end = bytes.end() - static_cast<std::ptrdiff_t>(padding);
    if (!decode(last.data(), 1, bytes.data()) ||
        std::any_of(end, bytes.end(), [](char rest) { return rest != 0; })) {
      return std::nullopt;
    }
    std::copy(bytes.begin(), end, memory.get() + 3 * wholeGroups);
  }
  return DataBuffer(std::move(memory), size);
}

} // namespace connector::file_common::v1
