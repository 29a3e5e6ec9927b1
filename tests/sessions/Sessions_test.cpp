// Drives a real connector-host through the *.session files beside this one; README.md says what
// their lines mean.

#include "support/HostClient.h"
#include "support/ScratchFolder.h"
#include "support/Unprivileged.h"

#include <Poco/Dynamic/Var.h>
#include <Poco/JSON/Array.h>
#include <Poco/JSON/Object.h>
#include <Poco/String.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace connector::test {

namespace {

namespace fs = std::filesystem;
using Poco::Dynamic::Var;
using Poco::JSON::Array;
using Poco::JSON::Object;

const std::string anything = "{any}";
const std::string furtherKeys = "...";

std::string repeat(std::size_t count, const std::string& text) {
  std::string result;
  result.reserve(count * text.size());
  for (; count > 0; --count) {
    result += text;
  }
  return result;
}

/// Where actual differs from expected, as text; empty when it does not.
std::string difference(const std::string& where, const Var& expected, const Var& actual);

std::string difference(const std::string& where, const Object& expected, const Object& actual) {
  for (const auto& [name, value] : expected) {
    const std::string inner = where + "." + name;
    if (name == furtherKeys) {
      continue;
    }
    if (!actual.has(name)) {
      return inner + " is missing";
    }
    if (auto found = difference(inner, value, actual.get(name)); !found.empty()) {
      return found;
    }
  }
  for (const auto& [name, value] : actual) {
    if (!expected.has(name) && !expected.has(furtherKeys)) {
      return where + "." + name + " is unexpected";
    }
  }
  return "";
}

std::string difference(const std::string& where, const Array& expected, const Array& actual) {
  if (expected.size() != actual.size()) {
    return where + " has " + std::to_string(actual.size()) + " elements, not " +
           std::to_string(expected.size());
  }
  for (unsigned index = 0; index < expected.size(); ++index) {
    const std::string inner = where + "[" + std::to_string(index) + "]";
    if (auto found = difference(inner, expected.get(index), actual.get(index)); !found.empty()) {
      return found;
    }
  }
  return "";
}

std::string difference(const std::string& where, const Var& expected, const Var& actual) {
  if (expected.isString() && expected.toString() == anything) {
    return "";
  }
  if (expected.type() == typeid(Object::Ptr) && actual.type() == typeid(Object::Ptr)) {
    return difference(where, *expected.extract<Object::Ptr>(), *actual.extract<Object::Ptr>());
  }
  if (expected.type() == typeid(Array::Ptr) && actual.type() == typeid(Array::Ptr)) {
    return difference(where, *expected.extract<Array::Ptr>(), *actual.extract<Array::Ptr>());
  }
  const bool sameKind = expected.isString() == actual.isString() &&
                        expected.isBoolean() == actual.isBoolean() &&
                        expected.isEmpty() == actual.isEmpty();
  if (sameKind && (expected.isEmpty() || expected.toString() == actual.toString())) {
    return "";
  }
  const auto shown = [](const Var& value) {
    return value.isEmpty() ? "null" : value.toString().substr(0, 300);
  };
  return where + " is " + shown(actual) + ", not " + shown(expected);
}

/// What a failed response holds besides its fault and what every response holds.
const std::map<std::string, std::string> restOfFailedResponse{
    {"OpenFile", R"("lineNumber":-1,"column":-1,"isDebugEvent":false,)"},
    {"RenameFile", R"("newFileInfo":{"location":"","name":"","isDirectory":false},)"},
    {"MoveFile", R"("srcPath":{"location":"","name":"","isDirectory":false},)"},
    {"ListFolder", R"("folderContents":[],)"}};

class Session {
public:
  Session(const fs::path& script, const fs::path& root)
      : script_(script)
      , root_(root)
      , host_(root) {}

  void run() {
    std::ifstream lines(script_);
    for (std::string line; std::getline(lines, line);) {
      ++number_;
      step(line);
      if (testing::Test::HasFailure()) {
        ADD_FAILURE() << "in " << script_.filename() << ":" << number_ << ": "
                      << line.substr(0, 300);
        break;
      }
    }
    EXPECT_EQ(host_.finish(), 0);
  }

private:
  void step(const std::string& line) {
    const auto after = [&line](const std::string& mark) { return line.substr(mark.size()); };
    if (line.empty() || line[0] == '#') {
      return;
    }
    if (line.rfind("$ ", 0) == 0) {
      const std::string command = "cd '" + root_.string() + "' && { " + after("$ ") + "; }";
      EXPECT_EQ(std::system(command.c_str()), 0); // NOLINT(cert-env33-c): the script's purpose
    } else if (line.rfind("> ", 0) == 0) {
      request(after("> "));
    } else if (line.rfind("<x ", 0) == 0) {
      expectError(after("<x "));
    } else if (line.rfind("<! ", 0) == 0) {
      expectFault(after("<! "));
    } else if (line.rfind("< ", 0) == 0) {
      expectResult(*parseObject(expand(after("< "))));
    } else {
      ADD_FAILURE() << "no such kind of line";
    }
  }

  void request(const std::string& text) {
    const auto blank = text.find(' ');
    type_ = text.substr(0, blank);
    const std::string params = expand(text.substr(blank + 1));
    const auto object = parseObject(params);
    const bool named = object->has("uuid") && !object->isNull("uuid");
    uuid_ = named ? object->getValue<std::string>("uuid") : "notset";
    answer_ = host_.ask(type_, params);
  }

  void expectError(const std::string& text) {
    const auto blank = text.find(' ');
    ASSERT_TRUE(answer_->isObject("error")) << shown();
    const auto error = answer_->getObject("error");
    EXPECT_EQ(error->getValue<std::string>("code"), text.substr(0, blank));
    EXPECT_NE(error->getValue<std::string>("message").find(text.substr(blank + 1)),
              std::string::npos)
        << shown();
  }

  void expectFault(const std::string& text) {
    const auto blank = text.find(' ');
    const auto end = text.find("] ");
    const std::string condition = text.substr(0, blank);
    const std::string paths = text.substr(blank + 1, end - blank);
    const std::string message = text.substr(end + 2);
    const std::string fault = R"({"message":")" + message +
                              R"(","faultCode":"FileService.IOError","faultConditions":[{)" +
                              R"("faultId":")" + condition + R"(","faultInfo":)" + paths + "}]}";
    const auto rest = restOfFailedResponse.find(type_);
    const std::string expected = "{" + (rest != restOfFailedResponse.end() ? rest->second : "") +
                                 (type_ == "MoveFile" ? R"("fault":)" + fault + "," : "") +
                                 R"("messageFaults":[)" + fault + "]}";
    expectResult(*parseObject(expand(expected)));
  }

  void expectResult(Object& expected) {
    const std::map<std::string, Var> implied{
        {"uuid", uuid_}, {"apiVersion", "1.0"}, {"messageFaults", Array::Ptr(new Array)}};
    for (const auto& [name, value] : implied) {
      if (!expected.has(name)) {
        expected.set(name, value);
      }
    }
    ASSERT_TRUE(answer_->isObject("result")) << shown();
    EXPECT_EQ(difference("result", expected, *answer_->getObject("result")), "") << shown();
  }

  [[nodiscard]] std::string shown() const {
    std::ostringstream text;
    answer_->stringify(text);
    return text.str().substr(0, 2000);
  }

  [[nodiscard]] std::string expand(std::string text) const {
    text = Poco::replace(text, std::string("{root}"), root_.string());
    text = Poco::replace(text, std::string("{name}"), root_.filename().string());
    text = expandCounts(text, "{bytes ",
                        [](std::size_t count, const auto&) { return std::string(count, 'x'); });
    return expandCounts(text, "{repeat ", repeat);
  }

  /// Replaces each "{word COUNT REST}".
  template <typename Make>
  static std::string expandCounts(std::string text, const std::string& word, const Make& make) {
    for (auto begin = text.find(word); begin != std::string::npos; begin = text.find(word, begin)) {
      const auto end = text.find('}', begin);
      std::istringstream inside(text.substr(begin + word.size(), end - begin - word.size()));
      std::size_t count = 0;
      std::string rest;
      (inside >> count).ignore();
      std::getline(inside, rest);
      text.replace(begin, end + 1 - begin, make(count, rest));
    }
    return text;
  }

  fs::path script_;
  fs::path root_;
  HostClient host_;
  int number_ = 0;
  std::string type_;
  std::string uuid_;
  Object::Ptr answer_;
};

std::vector<fs::path> sessionFiles() {
  std::vector<fs::path> files;
  for (const auto& entry : fs::directory_iterator(SESSIONS_FOLDER)) {
    if (entry.path().extension() == ".session") {
      files.push_back(entry.path());
    }
  }
  std::sort(files.begin(), files.end());
  return files;
}

/// Made by the user who runs the session.
class SessionFolder : public ScratchFolder {
public:
  using ScratchFolder::folder;

private:
  void TestBody() override {}
};

class Sessions : public testing::TestWithParam<fs::path> {};

void runSession(const fs::path& script) {
  const SessionFolder scratch;
  Session(script, scratch.folder()).run();
}

} // namespace

TEST_P(Sessions, GoAsWritten) {
  const fs::path& script = GetParam();
  if (script.filename().string().rfind("ordinary_user_", 0) == 0) {
    asUnprivilegedUser([&script] {
      if (access(CONNECTOR_HOST_PROGRAM, X_OK) != 0) {
        GTEST_SKIP() << "the build folder is closed to ordinary users";
      }
      runSession(script);
    });
  } else {
    runSession(script);
  }
}

INSTANTIATE_TEST_SUITE_P(All, Sessions, testing::ValuesIn(sessionFiles()),
                         [](const auto& script) { return script.param.stem().string(); });

} // namespace connector::test
