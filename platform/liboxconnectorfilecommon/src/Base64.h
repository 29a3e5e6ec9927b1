#pragma once

#include <connector/file_common/v1/DataBuffer.h>

#include <optional>
#include <string>
#include <string_view>

// RFC 4648 base64, padded. Our own, because files are what it is for: a library that checks as
// strictly takes several times as long.
namespace connector::file_common::v1 {

/// Appends the text of `bytes`.
void appendBase64(std::string& text, std::string_view bytes);

/// Nothing unless `text` is whole groups of digits, padded at the end alone, with no bit set
/// beyond the last byte: no two texts stand for the same bytes.
std::optional<DataBuffer> fromBase64(std::string_view text);

} // namespace connector::file_common::v1
