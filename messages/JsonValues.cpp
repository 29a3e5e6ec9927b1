#include "JsonValues.h"

#include <connector/file_common/v1/Json.h>
#include <fl/i18n/convert.h>

#include <Poco/Exception.h>
#include <Poco/JSON/Array.h>
#include <Poco/StringTokenizer.h>

#include <cstdint>
#include <stdexcept>
#include <text/Utf8.h>
#include <utility>

namespace connector::file::v1::wire {

using common::v1::Fault;
using common::v1::FaultCondition;
using common::v1::Version;
using Poco::Dynamic::Var;
using Poco::JSON::Array;

namespace {

constexpr auto MESSAGE = "message";
constexpr auto FAULT_CODE = "faultCode";
constexpr auto FAULT_CONDITIONS = "faultConditions";
constexpr auto FAULT_ID = "faultId";
constexpr auto FAULT_INFO = "faultInfo";

/// Converts with std::stoi and keeps the lowest 16 bits. Replaces the texts of its exceptions,
/// which differ between standard libraries.
std::uint16_t toVersionNumber(const std::string& token) {
  try {
    return static_cast<std::uint16_t>(std::stoi(token));
  } catch (const std::invalid_argument&) {
    throw std::invalid_argument("invalid stoi argument");
  } catch (const std::out_of_range&) {
    throw std::out_of_range("stoi argument out of range");
  }
}

Object::Ptr toObject(const FaultCondition& condition) {
  Array::Ptr info = new Array;
  for (const auto& entry : condition.getInfo()) {
    info->add(text::toUtf8(entry));
  }
  Object::Ptr object = new Object;
  object->set(FAULT_ID, condition.getId());
  object->set(FAULT_INFO, info);
  return object;
}

Object::Ptr toObject(const Fault& fault) {
  Array::Ptr conditions = new Array;
  for (const auto& condition : fault.getConditions()) {
    conditions->add(toObject(condition));
  }
  Object::Ptr object = new Object;
  object->set(MESSAGE, fault.getMessage());
  object->set(FAULT_CODE, fault.getCode());
  object->set(FAULT_CONDITIONS, conditions);
  return object;
}

/// Returns the nested object or array, or null if the value is absent or null. Throws
/// Poco::BadCastException with the key if the value has another type.
template <typename Pointer>
Pointer nested(const Var& value, const char* key) {
  if (value.isEmpty()) {
    return nullptr;
  }
  try {
    return value.extract<Pointer>();
  } catch (const Poco::BadCastException& error) {
    throw Poco::BadCastException(error.message(), key);
  }
}

} // namespace

template <>
std::u16string readOr(const Object& object, const char* key, const std::u16string& defaultValue) {
  const Var value = object.get(key);
  return value.isEmpty() ? defaultValue : text::fromUtf8(value.convert<std::string>());
}

template <>
File readOr(const Object& object, const char* key, const File& /*defaultValue*/) {
  return file_common::v1::toFile(nested<Object::Ptr>(object.get(key), key));
}

template <>
FileInfo readOr(const Object& object, const char* key, const FileInfo& /*defaultValue*/) {
  return file_common::v1::toFileInfo(nested<Object::Ptr>(object.get(key), key));
}

template <>
std::vector<FileInfo> readOr(const Object& object, const char* key,
                             const std::vector<FileInfo>& /*defaultValue*/) {
  const auto array = nested<Array::Ptr>(object.get(key), key);
  if (!array.isNull()) {
    for (const Var& element : *array) {
      nested<Object::Ptr>(element, key); // throws for other types; toFileInfos reads them as null
    }
  }
  return file_common::v1::toFileInfos(array);
}

void write(Object& object, const char* key, const std::u16string& path) {
  object.set(key, text::toUtf8(path));
}

void write(Object& object, const char* key, File& file) {
  object.set(key, file_common::v1::fromFile(file));
}

void write(Object& object, const char* key, const FileInfo& info) {
  object.set(key, file_common::v1::fromFileInfo(info));
}

void write(Object& object, const char* key, const std::vector<FileInfo>& infos) {
  object.set(key, file_common::v1::fromFileInfos(infos));
}

void write(Object& object, const char* key, Version version) {
  object.set(key, std::to_string(version.getMajor()) + "." + std::to_string(version.getMinor()));
}

Version readVersion(const Object& object, const char* key) {
  const Poco::StringTokenizer tokens(readOr<std::string>(object, key, "0.0"), ".");
  if (tokens.count() != 2) {
    return {};
  }
  const std::uint16_t minorNumber = toVersionNumber(tokens[1]); // if both are bad, this throws
  return {toVersionNumber(tokens[0]), minorNumber};
}

void write(Object& object, const char* key, const Fault& fault) {
  object.set(key, toObject(fault));
}

void write(Object& object, const char* key, const std::vector<Fault>& faults) {
  Array::Ptr array = new Array;
  for (const auto& fault : faults) {
    array->add(toObject(fault));
  }
  object.set(key, array);
}

std::vector<Fault> readFaults(const Object& object, const char* key) {
  std::vector<Fault> faults;
  const auto array = nested<Array::Ptr>(object.get(key), key);
  if (array.isNull()) {
    return faults;
  }
  for (const Var& element : *array) {
    const auto& fault = element.extract<Object::Ptr>();
    const auto message = readOr<std::string>(*fault, MESSAGE, "");
    faults.emplace_back(readOr<std::string>(*fault, FAULT_CODE, ""), message,
                        std::vector<FaultCondition>());
  }
  return faults;
}

} // namespace connector::file::v1::wire
