#pragma once

#include <cstddef>

/// The limits of messages, other than --max-message. docs/wire-format.md lists them. Lengths are in
/// bytes.
namespace connector::host {

/// Nested arrays and objects in a text.
constexpr std::size_t MAX_DEPTH = 128;

/// Values in an object, or in each element of an array, at all levels.
constexpr std::size_t MAX_VALUES = 100'000;

/// Tokens in a text. The parser needs 4 bytes for each before it checks any other limit.
constexpr std::size_t MAX_TOKENS = 32UL * 1024 * 1024;

constexpr std::size_t MAX_REQUESTS_IN_BATCH = 10'000;

/// The name of a member. An object keeps several copies.
constexpr std::size_t MAX_NAME = 64UL * 1024;

/// All strings in a member of params, except file.contents. Converters need up to 30 times that.
constexpr std::size_t MAX_STRING = 64UL * 1024;

/// The JSON text of an id.
constexpr std::size_t MAX_ID = 1024;

constexpr std::size_t MAX_METHOD = 1024;

} // namespace connector::host
