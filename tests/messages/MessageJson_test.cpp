#include <connector/file/v1/FileJsonSerialization.h>
#include <connector/file/v1/Messages.h>

#include <connector/json/MessageRegistry.h>

#include <Poco/Exception.h>
#include <Poco/JSON/Array.h>
#include <Poco/JSON/Parser.h>
#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace connector::file::v1::test {
namespace {

using common::v1::FaultCondition;
using Object = Poco::JSON::Object;

Object::Ptr parsed(const std::string& text) {
  return Poco::JSON::Parser().parse(text).extract<Object::Ptr>();
}

/// With the keys in alphabetical order.
std::string textOf(const Object::Ptr& object) {
  std::ostringstream text;
  object->stringify(text);
  return text.str();
}

std::string at(const std::string& key, const std::string& json) {
  return '"' + key + "\":" + json;
}

std::string joined(const std::vector<std::string>& members) {
  std::string text;
  for (const auto& member : members) {
    text += (text.empty() ? "" : ",") + member;
  }
  return '{' + text + '}';
}

std::string request(std::vector<std::string> own, const std::string& uuid = "u",
                    const std::string& version = "1.2") {
  own.push_back(at("uuid", '"' + uuid + '"'));
  own.push_back(at("apiVersion", '"' + version + '"'));
  return textOf(parsed(joined(own)));
}

std::string response(std::vector<std::string> own, const std::string& faults = "[]") {
  own.push_back(at("messageFaults", faults));
  return request(std::move(own));
}

constexpr auto A_FILE =
    R"({"location":"/w/a","name":"a","isDirectory":false,"contents":"abc","encoding":"utf-8"})";
constexpr auto AN_INFO = R"({"location":"/w/i","name":"i","isDirectory":false})";
constexpr auto A_FOLDER = R"({"location":"/w","name":"w","isDirectory":true})";
constexpr auto NO_FILE =
    R"({"location":"","name":"","isDirectory":false,"contents":"","encoding":"utf-8"})";
constexpr auto NO_INFO = R"({"location":"","name":"","isDirectory":false})";

File aFile() {
  return {FileInfo(u"/w/a", false), DataBuffer("abc")};
}

FileInfo anInfo() {
  return {u"/w/i", false};
}

FileInfo aFolder() {
  return {u"/w", true};
}

std::vector<Fault> noFaults() {
  return {};
}

std::vector<Fault> twoFaults() {
  std::vector<FaultCondition> conditions;
  conditions.emplace_back("FIRST", std::vector<std::u16string>{u"/w/\u00E9", u"\U0001F600"});
  conditions.emplace_back("SECOND", std::vector<std::u16string>{});
  std::vector<Fault> faults;
  faults.emplace_back("code", "text \xC3\xA9", std::move(conditions));
  faults.emplace_back("other", "", std::vector<FaultCondition>());
  return faults;
}

constexpr auto FIRST_FAULT =
    R"({"message":"text é","faultCode":"code","faultConditions":[)"
    R"({"faultId":"FIRST","faultInfo":["/w/é","😀"]},{"faultId":"SECOND","faultInfo":[]}]})";
constexpr auto SECOND_FAULT = R"({"message":"","faultCode":"other","faultConditions":[]})";
constexpr auto TWO_FAULTS_READ = R"([{"message":"text é","faultCode":"code","faultConditions":[]},)"
                                 R"({"message":"","faultCode":"other","faultConditions":[]}])";

std::string twoFaultsWritten() {
  return '[' + std::string(FIRST_FAULT) + ',' + SECOND_FAULT + ']';
}

class MessageJson : public ::testing::Test {
protected:
  /// Type names without "connector/v1/".
  std::unique_ptr<connector::Message> read(const std::string& type, const Object::Ptr& object) {
    return registry->fromJson("connector/v1/" + type, object);
  }

  /// What becomes of the JSON when it is read and written again.
  std::string passed(const std::string& type, const std::string& json) {
    return textOf(registry->toJson(read(type, parsed(json))));
  }

  /// What is written for the key after it was read with this JSON value, or the exception.
  std::string outcome(const std::string& type, const std::string& key, const std::string& value) {
    try {
      return parsed(passed(type, joined({at(key, value)})))->get(key).toString();
    } catch (const Poco::Exception& error) {
      return error.name();
    } catch (const std::invalid_argument& error) {
      return std::string("invalid_argument: ") + error.what();
    } catch (const std::out_of_range& error) {
      return std::string("out_of_range: ") + error.what();
    }
  }

  template <typename M, typename... Own>
  std::string written(Own&&... own) {
    return textOf(
        registry->toJson(std::make_unique<M>("u", std::forward<Own>(own)..., Version(1, 2))));
  }

  /// The message made of `own` fields is written as `json`, and read back without a loss.
  template <typename M, typename... Own>
  void travelsAs(const std::string& json, Own&&... own) {
    SCOPED_TRACE(M::TYPE_NAME);
    EXPECT_EQ(written<M>(std::forward<Own>(own)...), json);
    EXPECT_EQ(textOf(registry->toJson(registry->fromJson(M::TYPE_NAME, parsed(json)))), json);
  }

  std::shared_ptr<json::MessageRegistry> registry = std::make_shared<json::MessageRegistry>();
  FileJsonSerialization serialization{registry};
};

TEST_F(MessageJson, TravelsUnderTheKeysOfItsType) {
  travelsAs<CreateFile>(request({at("file", A_FILE), at("updateIfExists", "true")}), aFile(), true);
  travelsAs<CreateFileResponse>(response({at("fileInfo", AN_INFO)}), anInfo(), noFaults());
  travelsAs<OpenOrCreateFile>(request({at("path", R"("/w/a")")}), u"/w/a");
  travelsAs<OpenOrCreateFileResponse>(response({at("file", A_FILE)}), aFile(), noFaults());
  travelsAs<OpenFile>(request({at("path", R"("/w/a")")}), u"/w/a");
  travelsAs<UpdateFile>(request({at("file", A_FILE)}), aFile());
  travelsAs<UpdateFileResponse>(response({at("fileInfo", AN_INFO)}), anInfo(), noFaults());
  travelsAs<CloseFile>(request({at("file", A_FILE), at("updateFile", "true")}), aFile(), true);
  travelsAs<CloseFileResponse>(response({at("fileInfo", AN_INFO)}), anInfo(), noFaults());
  travelsAs<RenameFile>(
      request({at("originalFileInfo", R"("from")"), at("newFileInfo", R"("to")")}), u"from", u"to");
  travelsAs<RenameFileResponse>(response({at("newFileInfo", AN_INFO)}), anInfo(), noFaults());
  travelsAs<MoveFile>(request({at("srcPath", R"("from")"), at("destPath", R"("to")")}), u"from",
                      u"to");
  travelsAs<DeleteFile>(request({at("path", R"("/w/a")")}), u"/w/a");
  travelsAs<DeleteFileResponse>(response({at("fileInfo", AN_INFO)}), anInfo(), noFaults());
  travelsAs<ListFolder>(request({at("path", R"("/w")")}), u"/w");
  travelsAs<ListFolderResponse>(
      response({at("folder", A_FOLDER),
                at("folderContents", '[' + std::string(AN_INFO) + ',' + A_FOLDER + ']')}),
      aFolder(), std::vector<FileInfo>{anInfo(), aFolder()}, noFaults());
  travelsAs<OpenWithBrowser>(request({at("uri", R"("x:y")")}), "x:y");
}

TEST_F(MessageJson, AnOpenedFileLosesWhetherItIsADebugEvent) {
  const auto json = [](const std::string& isDebugEvent) {
    return response({at("file", A_FILE), at("lineNumber", "12"), at("column", "3"),
                     at("isDebugEvent", isDebugEvent)});
  };
  auto message = std::make_unique<OpenFileResponse>("u", aFile(), noFaults(), Version(1, 2));
  message->lineNumber = 12;
  message->column = 3;
  message->isDebugEvent = true;

  EXPECT_EQ(textOf(registry->toJson(std::move(message))), json("true"));
  EXPECT_EQ(passed("OpenFileResponse", json("true")), json("false"));
}

TEST_F(MessageJson, AMoveLosesItsSourceAndFaultsLoseTheirConditions) {
  const std::string json =
      response({at("fileInfo", AN_INFO), at("srcPath", A_FOLDER), at("fault", FIRST_FAULT)},
               twoFaultsWritten());

  EXPECT_EQ(written<MoveFileResponse>(anInfo(), aFolder(), twoFaults()), json);
  EXPECT_EQ(
      passed("MoveFileResponse", json),
      response({at("fileInfo", AN_INFO), at("srcPath", NO_INFO),
                at("fault", R"({"message":"text é","faultCode":"code","faultConditions":[]})")},
               TWO_FAULTS_READ));
  EXPECT_EQ(written<MoveFileResponse>(anInfo(), aFolder(), noFaults()),
            response({at("fileInfo", AN_INFO), at("srcPath", A_FOLDER)}));
  EXPECT_EQ(written<CreateFileResponse>(FileInfo(), twoFaults()), response({}, twoFaultsWritten()));
}

TEST_F(MessageJson, ReadsAMissingAndANullKeyAsTheDefault) {
  const std::string none = R"("")";
  const std::string faults = at("messageFaults", "[]");
  const std::vector<std::pair<std::string, std::vector<std::string>>> rows = {
      {"CreateFile", {at("file", NO_FILE), at("updateIfExists", "false")}},
      {"CreateFileResponse", {at("fileInfo", NO_INFO), faults}},
      {"OpenOrCreateFile", {at("path", none)}},
      {"OpenOrCreateFileResponse", {at("file", NO_FILE), faults}},
      {"OpenFile", {at("path", none)}},
      {"OpenFileResponse",
       {at("file", NO_FILE), at("lineNumber", "-1"), at("column", "-1"),
        at("isDebugEvent", "false"), faults}},
      {"UpdateFile", {at("file", NO_FILE)}},
      {"UpdateFileResponse", {at("fileInfo", NO_INFO), faults}},
      {"CloseFile", {at("file", NO_FILE), at("updateFile", "false")}},
      {"CloseFileResponse", {at("fileInfo", NO_INFO), faults}},
      {"RenameFile", {at("originalFileInfo", none), at("newFileInfo", none)}},
      {"RenameFileResponse", {at("newFileInfo", NO_INFO), faults}},
      {"MoveFile", {at("srcPath", none), at("destPath", none)}},
      {"MoveFileResponse", {at("fileInfo", NO_INFO), at("srcPath", NO_INFO), faults}},
      {"DeleteFile", {at("path", none)}},
      {"DeleteFileResponse", {at("fileInfo", NO_INFO), faults}},
      {"ListFolder", {at("path", none)}},
      {"ListFolderResponse", {at("folder", NO_INFO), at("folderContents", "[]"), faults}},
      {"OpenWithBrowser", {at("uri", R"("notset")")}},
  };
  EXPECT_EQ(rows.size(), registry->names().size());
  for (const auto& [type, own] : rows) {
    SCOPED_TRACE(type);
    const std::string expected = request(own, "notset", "0.0");
    EXPECT_EQ(passed(type, "{}"), expected);

    Object::Ptr nulls = parsed(expected);
    for (const auto& key : nulls->getNames()) {
      nulls->set(key, Poco::Dynamic::Var());
    }
    EXPECT_EQ(passed(type, textOf(nulls)), expected);

    EXPECT_THROW(read(type, nullptr), Poco::NullPointerException);
  }
}

TEST_F(MessageJson, LeavesOutTheEmptyPayloadOfAFailedResponse) {
  const std::vector<std::tuple<std::string, std::string, bool>> rows = {
      {"CreateFileResponse", "fileInfo", false},     {"OpenOrCreateFileResponse", "file", false},
      {"OpenFileResponse", "file", false},           {"UpdateFileResponse", "fileInfo", false},
      {"CloseFileResponse", "fileInfo", false},      {"RenameFileResponse", "newFileInfo", true},
      {"MoveFileResponse", "fileInfo", false},       {"MoveFileResponse", "srcPath", true},
      {"DeleteFileResponse", "fileInfo", false},     {"ListFolderResponse", "folder", false},
      {"ListFolderResponse", "folderContents", true}};
  const std::string fault = at("messageFaults", "[{}]");
  for (const auto& [type, key, always] : rows) {
    EXPECT_EQ(parsed(passed(type, joined({fault})))->has(key), always) << type << ' ' << key;
    const std::string nested = key == "folderContents" ? "[]" : A_FOLDER;
    EXPECT_TRUE(parsed(passed(type, joined({fault, at(key, nested)})))->has(key)) << type;
  }
}

TEST_F(MessageJson, ReadsAVersionAsStoiWouldFromItsEnd) {
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

TEST_F(MessageJson, ConvertsOrRefusesValuesOfAnotherKindAsPocoDoes) {
  const std::vector<std::array<std::string, 4>> rows = {
      {"OpenFile", "uuid", "7", "7"},
      {"OpenFile", "path", "true", "true"},
      {"OpenWithBrowser", "uri", "1.5", "1.5"},
      {"CreateFile", "updateIfExists", R"("true")", "true"},
      {"CreateFile", "updateIfExists", R"("False")", "false"},
      {"CloseFile", "updateFile", "1", "true"},
      {"OpenFileResponse", "lineNumber", R"("12")", "12"},
      {"OpenFileResponse", "lineNumber", "[1]", "Bad cast exception"},
      {"OpenFileResponse", "column", "-2147483648", "-2147483648"},
      {"OpenFileResponse", "column", "2147483648", "Out of range"},
      {"OpenFileResponse", "column", R"("many")", "Syntax error"},
      {"CreateFileResponse", "messageFaults", R"("x")", "Bad cast exception"},
      {"CreateFileResponse", "messageFaults", "{}", "Bad cast exception"},
      {"CreateFileResponse", "messageFaults", "[{},7]", "Bad cast exception"},
      {"CreateFileResponse", "messageFaults", "[null]", "Invalid access"},
      {"CreateFile", "file", "{}", "Bad data format"},
      {"CreateFile", "file", "7", outcome("CreateFile", "file", "null")},
      {"CloseFileResponse", "fileInfo", R"("/w")",
       outcome("CloseFileResponse", "fileInfo", "null")},
      {"ListFolderResponse", "folderContents", "{}", "[\n\n]"},
  };
  for (const auto& [type, key, value, expected] : rows) {
    EXPECT_EQ(outcome(type, key, value), expected) << key << ' ' << value;
  }
}

TEST_F(MessageJson, PathsAreUtf8) {
  const std::vector<std::pair<std::u16string, std::string>> rows = {
      {u"/w/\u00E9\u20AC", "/w/\xC3\xA9\xE2\x82\xAC"},
      {u"\U0001F600", "\xF0\x9F\x98\x80"},
      {u"not UTF-8: \uEF80\uEFFF", "not UTF-8: \xEE\xBE\x80\xEE\xBF\xBF"},
      {std::u16string(u"a\0b", 3), std::string("a\0b", 3)},
      {u"\"\\\n", "\"\\\n"},
  };
  for (const auto& [path, utf8] : rows) {
    std::u16string copy = path;
    const Object::Ptr object =
        registry->toJson(std::make_unique<OpenFile>("u", std::move(copy), Version()));
    EXPECT_EQ(object->getValue<std::string>("path"), utf8);
    const auto message = read("OpenFile", parsed(textOf(object)));
    EXPECT_EQ(dynamic_cast<const OpenFile&>(*message).path, path) << utf8;
  }
}

} // namespace
} // namespace connector::file::v1::test
