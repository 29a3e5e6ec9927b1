#pragma once

// Writes and reads one key of a JSON object, for every type of value that a message has.

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

/// Returns the value of the key, converted as Poco::Dynamic::Var converts. Returns `defaultValue`
/// if the key is absent or null.
template <typename T>
T readOr(const Object& object, const char* key, const T& defaultValue) {
  const Poco::Dynamic::Var value = object.get(key);
  return value.isEmpty() ? defaultValue : value.convert<T>();
}

// For paths, which are UTF-8 in JSON.
template <>
std::u16string readOr(const Object& object, const char* key, const std::u16string& defaultValue);

// These ignore `defaultValue` and read an absent or null key as the empty value. They throw
// Poco::BadCastException with the key in its text if the value is not an object or, for the vector,
// not an array of objects and nulls.
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
void write(Object& object, const char* key, File& file); // not const, as fromFile requires
void write(Object& object, const char* key, const FileInfo& info);
void write(Object& object, const char* key, const std::vector<FileInfo>& infos);

/// A version is written as "major.minor". `readVersion` returns 0.0 for text without exactly two
/// parts. It throws std::invalid_argument if a part does not begin with a number, and
/// std::out_of_range if the number does not fit in an int. It keeps the lowest 16 bits of each.
void write(Object& object, const char* key, common::v1::Version version);
common::v1::Version readVersion(const Object& object, const char* key);

/// Faults are written completely, but only their message and code are read. An absent or null list
/// is read as empty.
void write(Object& object, const char* key, const common::v1::Fault& fault);
void write(Object& object, const char* key, const std::vector<common::v1::Fault>& faults);
std::vector<common::v1::Fault> readFaults(const Object& object, const char* key);

} // namespace connector::file::v1::wire
