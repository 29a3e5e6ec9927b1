#include <connector/file_common/v1/Json.h>
#include <fl/i18n/convert.h>

#include <Poco/Base64Decoder.h>
#include <Poco/Base64Encoder.h>
#include <Poco/Exception.h>
#include <Poco/MemoryStream.h>
#include <boost/locale/utf.hpp>

#include <algorithm>
#include <array>
#include <cstdint>
#include <new>
#include <string>
#include <string_view>

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

struct Attribute {
  const std::string& key;
  Var (*toJson)(const boost::any& value);
  boost::any (*fromJson)(const Var& value);
};

template <typename T>
constexpr Attribute attribute(const std::string& key) {
  return {key, [](const boost::any& value) { return Var(boost::any_cast<const T&>(value)); },
          [](const Var& value) { return boost::any(value.convert<T>()); }};
}

constexpr std::array ATTRIBUTES = {
    attribute<std::uint64_t>(FileAttributes::SIZE),
    attribute<std::int64_t>(FileAttributes::MODIFIED),
    attribute<bool>(FileAttributes::CAN_WRITE),
    attribute<bool>(FileAttributes::DELETED),
    attribute<bool>(FileAttributes::IS_SHARED),
};

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

bool isUtf8(std::string_view bytes) {
  namespace utf = boost::locale::utf;
  const char* at = bytes.data();
  const char* const end = at + bytes.size();
  while (at != end) {
    if (!utf::is_valid_codepoint(utf::utf_traits<char>::decode(at, end))) {
      return false;
    }
  }
  return true;
}

std::string toBase64(std::string_view bytes) {
  std::string text((bytes.size() + 2) / 3 * 4, '=');
  Poco::MemoryOutputStream memory(text.data(), static_cast<std::streamsize>(text.size()));
  Poco::Base64Encoder encoder(memory);
  encoder.rdbuf()->setLineLength(0);
  encoder.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  encoder.close();
  return text;
}

/// Strict, as Poco's decoder is not: whole groups of digits, padding at the end alone, and no bit
/// set beyond the last byte, so that no two texts stand for the same bytes.
bool isBase64(std::string_view text) {
  constexpr std::string_view alphabet =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  const std::size_t digits = std::min(text.find_first_not_of(alphabet), text.size());
  const std::size_t padding = text.size() - digits;
  if (text.size() % 4 != 0 || padding > 2 ||
      text.substr(digits) != std::string_view("==", padding)) {
    return false;
  }
  const std::size_t unusedBits = 2 * padding;
  return padding == 0 || alphabet.find(text[digits - 1]) % (std::size_t{1} << unusedBits) == 0;
}

DataBuffer fromBase64(const std::string& text) {
  if (!isBase64(text)) {
    throw Poco::DataFormatException(CONTENTS, "not base64");
  }
  if (text.empty()) {
    return {};
  }
  const std::size_t capacity = text.size() / 4 * 3;
  // NOLINTNEXTLINE(cppcoreguidelines-no-malloc): what a DataBuffer takes over.
  DataBuffer::Memory memory(static_cast<char*>(std::malloc(capacity)));
  if (!memory) {
    throw std::bad_alloc();
  }
  Poco::MemoryInputStream stream(text.data(), static_cast<std::streamsize>(text.size()));
  Poco::Base64Decoder decoder(stream);
  decoder.read(memory.get(), static_cast<std::streamsize>(capacity));
  return {std::move(memory), static_cast<std::size_t>(decoder.gcount())};
}

void writeContents(Object& object, std::string_view bytes) {
  const bool readable = isUtf8(bytes);
  object.set(ENCODING, readable ? UTF_8 : BASE64);
  object.set(CONTENTS, Var());
  // Object::set would copy the text once more.
  Var text(readable ? std::string(bytes) : toBase64(bytes));
  std::find_if(object.begin(), object.end(), [](const auto& member) {
    return member.first == CONTENTS;
  })->second.swap(text);
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
  return encoding == UTF_8 ? DataBuffer(text) : fromBase64(text);
}

FileInfo readInfo(const Object& object) {
  const Var* const location = find(object, LOCATION);
  if (location == nullptr) {
    throw Poco::DataFormatException(LOCATION, "missing");
  }
  FileInfo info(fl::i18n::to_ustring(location->convert<std::string>()),
                read(object, IS_DIRECTORY, false));
  for (const Attribute& attribute : ATTRIBUTES) {
    if (const Var* const value = find(object, attribute.key)) {
      info.setAttribute(attribute.key, attribute.fromJson(*value));
    }
  }
  return info;
}

} // namespace

Object::Ptr fromFile(File& file) {
  Object::Ptr object = fromFileInfo(file.getFileInfo());
  writeContents(*object, file.getContents().view());
  return object;
}

Object::Ptr fromFileInfo(const FileInfo& info) {
  Object::Ptr object = new Object;
  object->set(LOCATION, toUtf8(info.getLocation()));
  object->set(NAME, toUtf8(info.getName()));
  object->set(IS_DIRECTORY, info.isDirectory());
  for (const Attribute& attribute : ATTRIBUTES) {
    if (const boost::any* const value = info.findAttribute(attribute.key)) {
      object->set(attribute.key, attribute.toJson(*value));
    }
  }
  return object;
}

Poco::JSON::Array::Ptr fromFileInfos(const std::vector<FileInfo>& infos) {
  Poco::JSON::Array::Ptr array = new Poco::JSON::Array;
  for (const FileInfo& info : infos) {
    array->add(fromFileInfo(info));
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
