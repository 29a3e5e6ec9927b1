#include "support/JsonText.h"

#include <connector/file/v1/FileJsonSerialization.h>
#include <connector/file/v1/Messages.h>

#include <connector/json/MessageRegistry.h>

#include <Poco/Exception.h>
#include <gmock/gmock.h>

#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <typeinfo>
#include <utility>
#include <vector>

namespace connector::file::v1::test {
namespace {

using connector::test::parseObject;
using connector::test::textOf;
using Object = Poco::JSON::Object;

/// A key, a value for it, and the value that is written if the key was absent or null; "" for none.
struct Field {
  std::string key;
  std::string value;
  std::string absent;
};

std::string objectOf(const std::vector<Field>& fields, std::string Field::*value) {
  std::string text;
  for (const auto& field : fields) {
    if (!(field.*value).empty()) {
      text += (text.empty() ? "" : ",") + ('"' + field.key + "\":" + field.*value);
    }
  }
  return textOf(parseObject('{' + text + '}'));
}

Field file() {
  return {"file",
          R"({"location":"/w/a","name":"a","isDirectory":false,"contents":"b","encoding":"utf-8"})",
          R"({"location":"","name":"","isDirectory":false,"contents":"","encoding":"utf-8"})"};
}

constexpr auto NO_INFO = R"({"location":"","name":"","isDirectory":false})";
constexpr auto A_FAULT = R"({"message":"é","faultCode":"code","faultConditions":[]})";

Field info(const std::string& key) {
  return {key,
          R"({"location":"/)" + key + R"(","name":")" + key +
              R"(","isDirectory":true,"canWrite":true,)" +
              R"("deleted":false,"isShared":false,"modified":-1,"size":18446744073709551615})",
          NO_INFO};
}

Field text(const std::string& key, const std::string& absent = "") {
  return {key, "\"a " + key + '"', '"' + absent + '"'};
}

std::vector<Field> request(std::vector<Field> own) {
  own.push_back(text("uuid", "notset"));
  own.push_back({"apiVersion", R"("1.2")", R"("0.0")"});
  return own;
}

std::vector<Field> response(std::vector<Field> own) {
  const std::string other = R"({"message":"","faultCode":"other","faultConditions":[]})";
  own.push_back({"messageFaults", '[' + (A_FAULT + (',' + other)) + ']', "[]"});
  return request(std::move(own));
}

class MessageJson : public ::testing::Test {
protected:
  /// Returns the JSON after reading and writing it. The type is without "connector/v1/".
  std::string readAndWritten(const std::string& type, const Object::Ptr& object) {
    return textOf(registry->toJson(registry->fromJson("connector/v1/" + type, object)));
  }

  /// Returns the value that is written for the key after reading this value, or the exception.
  std::string outcome(const std::string& type, const std::string& key, const std::string& value) {
    try {
      const Object::Ptr object = parseObject("{\"" + key + "\":" + value + '}');
      return parseObject(readAndWritten(type, object))->get(key).toString();
    } catch (const Poco::Exception& error) {
      return error.name();
    } catch (const std::invalid_argument& error) {
      return std::string("invalid_argument: ") + error.what();
    } catch (const std::out_of_range& error) {
      return std::string("out_of_range: ") + error.what();
    }
  }

  std::shared_ptr<json::MessageRegistry> registry = std::make_shared<json::MessageRegistry>();
  FileJsonSerialization serialization{registry};
};

TEST_F(MessageJson, KeepsEveryKeyAndHasADefaultForIt) {
  const std::vector<std::pair<std::string, std::vector<Field>>> rows = {
      {"CreateFile", request({file(), {"updateIfExists", "true", "false"}})},
      {"CreateFileResponse", response({info("fileInfo")})},
      {"OpenOrCreateFile", request({text("path")})},
      {"OpenOrCreateFileResponse", response({file()})},
      {"OpenFile", request({text("path")})},
      {"OpenFileResponse", response({file(),
                                     {"lineNumber", "12", "-1"},
                                     {"column", "3", "-1"},
                                     {"isDebugEvent", "false", "false"}})},
      {"UpdateFile", request({file()})},
      {"UpdateFileResponse", response({info("fileInfo")})},
      {"CloseFile", request({file(), {"updateFile", "true", "false"}})},
      {"CloseFileResponse", response({info("fileInfo")})},
      {"RenameFile", request({text("originalFileInfo"), text("newFileInfo")})},
      {"RenameFileResponse", response({info("newFileInfo")})},
      {"MoveFile", request({text("srcPath"), text("destPath")})},
      {"MoveFileResponse",
       response({info("fileInfo"), {"srcPath", NO_INFO, NO_INFO}, {"fault", A_FAULT, ""}})},
      {"DeleteFile", request({text("path")})},
      {"DeleteFileResponse", response({info("fileInfo")})},
      {"ListFolder", request({text("path")})},
      {"ListFolderResponse",
       response({info("folder"), {"folderContents", '[' + info("entry").value + ']', "[]"}})},
      {"OpenWithBrowser", request({text("uri", "notset")})},
  };
  std::set<std::string> types;
  for (const auto& [type, fields] : rows) {
    SCOPED_TRACE(type);
    types.insert("connector/v1/" + type);
    std::set<std::string> values;
    for (const auto& field : fields) {
      EXPECT_TRUE(values.insert(field.value).second) << field.value << " would hide swapped fields";
    }
    const std::string full = objectOf(fields, &Field::value);
    EXPECT_EQ(readAndWritten(type, parseObject(full)), full);

    const std::string defaults = objectOf(fields, &Field::absent);
    EXPECT_EQ(readAndWritten(type, new Object), defaults);
    Object::Ptr nulls = parseObject(full);
    for (const auto& key : nulls->getNames()) {
      nulls->set(key, Poco::Dynamic::Var());
    }
    EXPECT_EQ(readAndWritten(type, nulls), defaults);

    EXPECT_THROW(readAndWritten(type, nullptr), Poco::NullPointerException);
  }
  for (const auto& name : registry->names()) {
    EXPECT_EQ(types.count(name), 1U) << "No row has the type " << name;
  }
}

TEST_F(MessageJson, ReadsAVersionLikeStoiMinorNumberFirst) {
  const std::vector<std::pair<std::string, std::vector<std::string>>> rows = {
      {"0.0", {R"("")", R"("2")", R"("1.2.3")", R"("a.b.c")", R"("0x10.0")", "1"}},
      {"1.2", {R"("1.2")", R"("01.00002")", R"(" 1x.+2 ")", "1.2"}},
      {"1.4464", {R"("1.70000")"}},
      {"65535.0", {R"("65535.65536")", R"("-1.-65536")"}},
      {"invalid_argument: invalid stoi argument",
       {R"("a.1")", R"("1.a")", R"(".1")", R"("1.")", R"("99999999999.a")"}},
      {"out_of_range: stoi argument out of range",
       {R"("2147483648.0")", R"("0.-2147483649")", R"("a.99999999999")"}},
  };
  for (const auto& [expected, values] : rows) {
    for (const auto& value : values) {
      EXPECT_EQ(outcome("OpenFile", "apiVersion", value), expected) << value;
    }
  }
}

TEST_F(MessageJson, DoesNotReadTheSourceOfAMoveOrTheConditionsOfAFault) {
  const auto object = parseObject(readAndWritten(
      "MoveFileResponse",
      parseObject(
          R"({"srcPath":)" + info("srcPath").value +
          R"(,"messageFaults":[{"faultConditions":[{"faultId":"X","faultInfo":["/a"]}]}]})")));
  EXPECT_EQ(textOf(object->get("srcPath")), textOf(parseObject(NO_INFO)));
  EXPECT_EQ(textOf(object->getObject("fault")->get("faultConditions")), "[]");
}

TEST_F(MessageJson, ConvertsOrRefusesValuesOfAnotherKind) {
  EXPECT_EQ(outcome("CreateFile", "updateIfExists", R"("true")"), "true");
  EXPECT_EQ(outcome("OpenFileResponse", "isDebugEvent", "true"), "false") << "It is never read.";
  EXPECT_EQ(outcome("OpenFileResponse", "column", "2147483648"), "Out of range");
  EXPECT_EQ(outcome("OpenFileResponse", "lineNumber", "[1]"), "Bad cast exception");
  EXPECT_EQ(outcome("CreateFileResponse", "messageFaults", "[{},7]"), "Bad cast exception");
  EXPECT_EQ(outcome("CreateFileResponse", "messageFaults", "[null]"), "Invalid access");
}

TEST(FileJsonSerialization, RemovesItsTypesEvenIfOneIsRefused) {
  const auto registry = std::make_shared<json::MessageRegistry>();
  std::make_unique<FileJsonSerialization>(registry).reset();
  EXPECT_THAT(registry->names(), testing::IsEmpty());

  const std::string taken = "connector/v1/MoveFile";
  registry->registerConverters(taken, typeid(connector::Message), {}, {});
  EXPECT_THROW(FileJsonSerialization{registry}, std::invalid_argument);
  EXPECT_THAT(registry->names(), testing::ElementsAre(taken));
  EXPECT_THROW(FileJsonSerialization(nullptr), std::invalid_argument);
}

} // namespace
} // namespace connector::file::v1::test
