#pragma once

// Writes a value of each type that a message holds to a key of a JSON object, and reads it back.

#include <connector/common/v1/Fault.h>
#include <connector/common/v1/Version.h>
#include <connector/file_common/v1/File.h>
#include <connector/file_common/v1/FileInfo.h>

#include <Poco/Dynamic/Var.h>
#include <Poco/JSON/Object.h>

#include <string>
#include <vector>

namespace connector::file::v1::wire {

using file_common::v1::File;
using file_common::v1::FileInfo;
using Object = Poco::JSON::Object;

/// The value under the key in Poco's dynamic conversion; the default when absent or null.
template <typename T>
T readOr(const Object& object, const char* key, const T& defaultValue) {
  const Poco::Dynamic::Var value = object.get(key);
  return value.isEmpty() ? defaultValue : value.convert<T>();
}

// A path is UTF-8 in JSON.
template <>
std::u16string readOr(const Object& object, const char* key, const std::u16string& defaultValue);

// Absent or null gives the empty value. Any other value that is not an object (for infos, an array
// of objects) raises Poco::BadCastException, whose text names the key.
template <>
File readOr(const Object& object, const char* key, const File& defaultValue);
template <>
FileInfo readOr(const Object& object, const char* key, const FileInfo& defaultValue);
template <>
std::vector<FileInfo> readOr(const Object& object, const char* key,
                             const std::vector<FileInfo>& defaultValue);

template <typename T>
void write(Object& object, const char* key, const T& value) {
  object.set(key, value);
}

void write(Object& object, const char* key, const std::u16string& path);
void write(Object& object, const char* key, File& file);
void write(Object& object, const char* key, const FileInfo& info);
void write(Object& object, const char* key, const std::vector<FileInfo>& infos);

/// "major.minor". Text that has not exactly two parts reads as 0.0; a part that is no number raises
/// std::invalid_argument, one beyond an int std::out_of_range, and one beyond 16 bits is cut.
void write(Object& object, const char* key, common::v1::Version version);
common::v1::Version readVersion(const Object& object, const char* key);

/// Writing a fault writes all of it. Reading a list restores message and code only; an absent or
/// null list is empty.
void write(Object& object, const char* key, const common::v1::Fault& fault);
void write(Object& object, const char* key, const std::vector<common::v1::Fault>& faults);
std::vector<common::v1::Fault> readFaults(const Object& object, const char* key);

} // namespace connector::file::v1::wire
