#pragma once

#include <connector/file_common/v1/File.h>

#include <Poco/JSON/Array.h>
#include <Poco/JSON/Object.h>
#include <Poco/SharedPtr.h>

#include <vector>

/// The JSON form of a FileInfo is one flat object: "location", "name" (derived; ignored on
/// reading), "isDirectory", and each attribute that is set, under its FileAttributes key. A File is
/// the same object with "contents" and "encoding": "utf-8" if the bytes are valid UTF-8, else
/// "base64" (RFC 4648, padded). Paths are converted from UTF-16 to UTF-8.
namespace connector::file_common::v1 {

Poco::SharedPtr<Poco::JSON::Object> fromFile(File& file);
Poco::SharedPtr<Poco::JSON::Object> fromFileInfo(const FileInfo& info);
Poco::SharedPtr<Poco::JSON::Array> fromFileInfos(const std::vector<FileInfo>& infos);

// These three return the empty value for a null pointer. They throw a Poco::DataFormatException
// that names the key for a missing "location", an unknown "encoding" or invalid base64, and other
// exceptions of Poco for a value of the wrong kind.

File toFile(const Poco::SharedPtr<Poco::JSON::Object>& object);
FileInfo toFileInfo(const Poco::SharedPtr<Poco::JSON::Object>& object);
std::vector<FileInfo> toFileInfos(const Poco::SharedPtr<Poco::JSON::Array>& array);

} // namespace connector::file_common::v1
