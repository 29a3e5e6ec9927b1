#pragma once

#include <connector/file_common/v1/File.h>

#include <Poco/JSON/Array.h>
#include <Poco/JSON/Object.h>
#include <Poco/SharedPtr.h>

#include <vector>

#pragma GCC visibility push(default)

namespace connector::file_common::v1 {

// A FileInfo is one flat object: "location", "name" (derived, ignored when read), "isDirectory",
// and each attribute that is set under its FileAttributes text. A File is the same object with
// "contents" and "encoding": "utf-8" when the bytes are valid UTF-8, else "base64" (RFC 4648,
// padded). Paths are the UTF-8 of their UTF-16 form.

Poco::SharedPtr<Poco::JSON::Object> fromFile(File& file);
Poco::SharedPtr<Poco::JSON::Object> fromFileInfo(const FileInfo& info);
Poco::SharedPtr<Poco::JSON::Array> fromFileInfos(const std::vector<FileInfo>& infos);

// A null pointer gives the empty value. Poco::DataFormatException, naming the key, for a missing
// "location", an unknown "encoding" or broken base64; Poco's own exceptions for a value of the
// wrong kind.

File toFile(const Poco::SharedPtr<Poco::JSON::Object>& object);
FileInfo toFileInfo(const Poco::SharedPtr<Poco::JSON::Object>& object);
std::vector<FileInfo> toFileInfos(const Poco::SharedPtr<Poco::JSON::Array>& array);

} // namespace connector::file_common::v1

#pragma GCC visibility pop
