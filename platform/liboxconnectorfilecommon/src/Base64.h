#pragma once

#include <connector/file_common/v1/DataBuffer.h>

#include <optional>
#include <string>
#include <string_view>

// RFC 4648 base64, padded. Uses SSSE3 if the processor has it. Without SSSE3, an OpenFile of 20 MB
// that is not text takes 1.6 times as long, and a CreateFile 1.2 times (CPU time of
// connector-host). Both conversions together take 3.4 times as long (bench/operations,
// bytes that are not text).
namespace connector::file_common::v1 {

/// Appends the base64 form of `bytes` to `text`.
void appendBase64(std::string& text, std::string_view bytes);

/// Returns nullopt unless `text` consists of whole groups of digits, padded only at the end, with
/// no bit set after the last byte. No two texts therefore decode to the same bytes.
std::optional<DataBuffer> fromBase64(std::string_view text);

} // namespace connector::file_common::v1
