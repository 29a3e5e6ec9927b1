#include "AttributeTable.h"
#include "Base64.h"
#include "Bytes.h"

#include <connector/file_common/v1/Json.h>
#include <fl/i18n/convert.h>

#include <Poco/Exception.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <simdjson.h>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

namespace connector::file_common::v1 {

namespace {

using Poco::Dynamic::Var;
using Poco::JSON::Object;

constexpr const char* LOCATION = "location";
constexpr const char* NAME = "name";
constexpr const char* IS_DIRECTORY = "isDirectory";
constexpr const char* CONTENTS = "contents";
constexpr const char* ENCODING = "encoding";
constexpr const char* UTF_8 = "utf-8";
constexpr const char* BASE64 = "base64";

std::string toUtf8(const fl::i18n::ustring& text) {
  return fl::i18n::to_string(text, fl::i18n::codecvt_ustring_to_string("UTF-8", true));
}

/// Null when the key is absent or its value is null. Spares the copy that Object::get makes.
const Var* find(const Object& object, std::string_view key) {
  const auto found = std::find_if(object.begin(), object.end(),
                                  [&](const auto& member) { return member.first == key; });
  return found == object.end() || found->second.isEmpty() ? nullptr : &found->second;
}

template <typename T>
T read(const Object& object, std::string_view key, const T& fallback) {
  const Var* const value = find(object, key);
  return value != nullptr ? value->convert<T>() : fallback;
}

/// What a Var holds, to be changed in place: it takes something new by copy alone, and Object::set
/// copies that once more.
template <typename T>
T& contentOf(Var& var) {
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast): the Var itself is not constant.
  return const_cast<T&>(var.extract<T>());
}

std::string& addText(Object& object, const char* key) {
  object.set(key, std::string());
  const auto member = std::find_if(object.begin(), object.end(),
                                   [&](const auto& candidate) { return candidate.first == key; });
  return contentOf<std::string>(member->second);
}

/// In pieces, so that bytes that are no text are mostly found out at once.
bool isUtf8(std::string_view bytes) {
  constexpr std::size_t most = 64UL * 1024;
  const auto continues = [](char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80;
  };
  while (!bytes.empty()) {
    auto size = std::min(bytes.size(), most);
    for (int back = 0; back < 3 && size < bytes.size() && continues(bytes[size]); ++back) {
      --size; // a character is not cut
    }
    if (!simdjson::validate_utf8(bytes.data(), size)) {
      return false;
    }
    bytes.remove_prefix(size);
  }
  return true;
}

void writeContents(Object& object, std::string_view bytes) {
  const bool readable = isUtf8(bytes);
  object.set(ENCODING, readable ? UTF_8 : BASE64);
  std::string& text = addText(object, CONTENTS);
  if (readable) {
    text.assign(bytes);
  } else {
    appendBase64(text, bytes);
  }
}

DataBuffer readContents(const Object& object) {
  const auto encoding = read<std::string>(object, ENCODING, UTF_8);
  if (encoding != UTF_8 && encoding != BASE64) {
    throw Poco::DataFormatException(ENCODING, "unknown: " + encoding);
  }
  const Var* const value = find(object, CONTENTS);
  if (value == nullptr) {
    return {};
  }
  std::string converted;
  const bool isText = value->type() == typeid(std::string);
  if (!isText) {
    converted = value->convert<std::string>();
  }
  const std::string& text = isText ? value->extract<std::string>() : converted;
  if (encoding == UTF_8) {
    return copyOf(text);
  }
  if (auto bytes = fromBase64(text)) {
    return *std::move(bytes);
  }
  throw Poco::DataFormatException(CONTENTS, "not base64");
}

/// Refuses 2^63 and 2^64 as doubles: Poco compares with the greatest T, which as a double is the
/// same, and then converts out of range.
template <typename T>
T numberOf(const Var& value) {
  constexpr int bits = std::numeric_limits<T>::digits;
  if constexpr (bits > std::numeric_limits<double>::digits) {
    if (value.type() == typeid(double) && value.extract<double>() >= std::ldexp(1.0, bits)) {
      throw Poco::RangeException("Value too large.");
    }
  }
  return value.convert<T>();
}

template <typename T>
void readAttribute(const Object& object, const Attribute<T>& attribute, FileInfo& info) {
  if (const Var* const value = find(object, attribute.key)) {
    info.setAttribute(attribute.key, numberOf<T>(*value));
  }
}

/// A member of the object that a FileInfo becomes.
struct Member {
  std::string key;
  Var blank; ///< of the type that the member has
  /// Fills a copy of the blank; false when the info has nothing for it.
  bool (*put)(Var& slot, const FileInfo& info);
};

template <std::size_t index>
Member attributeMember() {
  constexpr const auto& attribute = std::get<index>(ATTRIBUTES);
  using Value = typename std::decay_t<decltype(attribute)>::Value;
  return {attribute.key, Value(), [](Var& slot, const FileInfo& info) {
            const auto& value = AttributeAccess::of(info).*std::get<index>(ATTRIBUTES).value;
            contentOf<Value>(slot) = value.value_or(Value());
            return value.has_value();
          }};
}

template <std::size_t... index>
std::vector<Member> makeMembers(std::index_sequence<index...>) {
  std::vector<Member> members{
      {LOCATION, std::string(),
       [](Var& slot, const FileInfo& info) {
         contentOf<std::string>(slot) = toUtf8(info.getLocation());
         return true;
       }},
      {NAME, std::string(),
       [](Var& slot, const FileInfo& info) {
         contentOf<std::string>(slot) = toUtf8(info.getName());
         return true;
       }},
      {IS_DIRECTORY, false,
       [](Var& slot, const FileInfo& info) {
         contentOf<bool>(slot) = info.isDirectory();
         return true;
       }},
      attributeMember<index>()...,
  };
  std::sort(members.begin(), members.end(),
            [](const Member& left, const Member& right) { return left.key < right.key; });
  return members;
}

/// In the order in which an Object keeps them.
const std::vector<Member>& sortedMembers() {
  static const auto members =
      makeMembers(std::make_index_sequence<std::tuple_size_v<decltype(ATTRIBUTES)>>());
  return members;
}

/// To be copied: that takes half the time of setting one member after the other.
const Object& blankObject() {
  static const Object blank = [] {
    Object object;
    for (const Member& member : sortedMembers()) {
      object.set(member.key, member.blank);
    }
    return object;
  }();
  return blank;
}

FileInfo readInfo(const Object& object) {
  const Var* const location = find(object, LOCATION);
  if (location == nullptr) {
    throw Poco::DataFormatException(LOCATION, "missing");
  }
  FileInfo info(fl::i18n::to_ustring(location->convert<std::string>()),
                read(object, IS_DIRECTORY, false));
  std::apply([&](const auto&... attribute) { (readAttribute(object, attribute, info), ...); },
             ATTRIBUTES);
  return info;
}

} // namespace

Object::Ptr fromFile(File& file) {
  Object::Ptr object = fromFileInfo(file.getFileInfo());
  writeContents(*object, viewOf(file.getContents()));
  return object;
}

Object::Ptr fromFileInfo(const FileInfo& info) {
  Object::Ptr object = new Object(blankObject());
  auto slot = object->begin();
  for (const Member& member : sortedMembers()) {
    const bool present = member.put((slot++)->second, info);
    if (!present) {
      object->remove(member.key);
    }
  }
  return object;
}

Poco::JSON::Array::Ptr fromFileInfos(const std::vector<FileInfo>& infos) {
  Poco::JSON::Array::Ptr array = new Poco::JSON::Array;
  if (infos.empty()) {
    return array;
  }
  // Elements that are there are changed in place: `add` copies what it takes and moves the others.
  array->set(static_cast<unsigned>(infos.size() - 1), Var());
  auto slot = array->begin();
  for (const FileInfo& info : infos) {
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast): the Array is not constant.
    const_cast<Var&>(*slot++) = Var(fromFileInfo(info));
  }
  return array;
}

File toFile(const Object::Ptr& object) {
  if (object.isNull()) {
    return {};
  }
  return {readInfo(*object), readContents(*object)};
}

FileInfo toFileInfo(const Object::Ptr& object) {
  return object.isNull() ? FileInfo() : readInfo(*object);
}

std::vector<FileInfo> toFileInfos(const Poco::JSON::Array::Ptr& array) {
  std::vector<FileInfo> infos;
  if (array.isNull()) {
    return infos;
  }
  infos.reserve(array->size());
  for (unsigned index = 0; index < array->size(); ++index) {
    infos.push_back(toFileInfo(array->getObject(index)));
  }
  return infos;
}

} // namespace connector::file_common::v1
