// Drives a real connector-host through the *.conversation files beside this one; README.md explains
// their lines.

#include "support/ChildProcess.h"
#include "support/HostClient.h"
#include "support/Machine.h"
#include "support/ScratchFolder.h"

#include <Poco/Dynamic/Var.h>
#include <Poco/JSON/Array.h>
#include <Poco/JSON/Object.h>
#include <Poco/RegularExpression.h>
#include <Poco/String.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace connector::test {

namespace {

namespace fs = std::filesystem;
using Poco::Dynamic::Var;
using Poco::JSON::Array;
using Poco::JSON::Object;

/// Returns `expected` with its open values taken from `actual`.
Var completed(const Var& expected, const Var& actual) {
  if (expected.isString() && expected.toString() == "{any}") {
    return actual;
  }
  if (expected.type() == typeid(Object::Ptr) && actual.type() == typeid(Object::Ptr)) {
    const auto& found = *actual.extract<Object::Ptr>();
    const auto& pattern = *expected.extract<Object::Ptr>();
    Object::Ptr whole = pattern.has("...") ? new Object(found) : new Object;
    for (const auto& [name, value] : pattern) {
      if (name != "...") {
        whole->set(name, completed(value, found.get(name)));
      }
    }
    return whole;
  }
  if (expected.type() == typeid(Array::Ptr) && actual.type() == typeid(Array::Ptr)) {
    Array::Ptr whole = new Array;
    for (const auto& element : *expected.extract<Array::Ptr>()) {
      const auto index = static_cast<unsigned>(whole->size());
      whole->add(completed(element, actual.extract<Array::Ptr>()->get(index)));
    }
    return whole;
  }
  return expected;
}

/// The keys of a failed response other than its fault and those of every response.
const std::map<std::string, std::string> REST_OF_FAILED_RESPONSE{
    {"OpenFile", R"("lineNumber":-1,"column":-1,"isDebugEvent":false,)"},
    {"RenameFile", R"("newFileInfo":{"location":"","name":"","isDirectory":false},)"},
    {"MoveFile", R"("srcPath":{"location":"","name":"","isDirectory":false},)"},
    {"ListFolder", R"("folderContents":[],)"}};

class Conversation {
public:
  Conversation(const fs::path& script, const fs::path& root)
      : script_(script)
      , root_(root) {}

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
    EXPECT_EQ(host().finish(), 0);
  }

private:
  HostClient& host() { return host_ ? *host_ : host_.emplace(root_); }

  void step(const std::string& line) {
    if (line.empty() || line[0] == '#') {
      return;
    }
    const auto blank = line.find(' ');
    const std::string mark = line.substr(0, blank);
    const std::string text = line.substr(blank + 1);
    if (mark == "$") {
      const std::string command = "cd '" + root_.string() + "' && { " + text + "; }";
      EXPECT_EQ(std::system(command.c_str()), 0); // NOLINT(cert-env33-c): the script's purpose
    } else if (mark == "=") {
      host_.emplace(root_, HostClient::withOptions(text));
    } else if (mark == "*") {
      host_.emplace(root_, std::vector<std::string>{"sh", "-c", expand(text)});
    } else if (mark == ">") {
      request(text);
    } else if (mark == "<x") {
      expectError(text);
    } else if (mark == "<!" || mark == "<~") {
      expectFault(text);
      EXPECT_EQ(snapshot(root_) == before_, mark == "<!");
    } else if (mark == "<") {
      expectResult(*parseObject(expand(text)));
    } else {
      ADD_FAILURE() << "no such kind of line";
    }
  }

  void request(const std::string& text) {
    const auto blank = text.find(' ');
    type_ = text.substr(0, blank);
    const std::string params = expand(text.substr(blank + 1));
    const auto uuid = parseObject(params)->get("uuid");
    uuid_ = uuid.isEmpty() ? "notset" : uuid.toString();
    before_ = snapshot(root_);
    answer_ = host().ask(type_, params);
  }

  void expectError(const std::string& text) {
    const auto blank = text.find(' ');
    ASSERT_TRUE(answer_->isObject("error")) << shown();
    const auto error = answer_->getObject("error");
    EXPECT_EQ(error->getValue<std::string>("code"), text.substr(0, blank));
    EXPECT_THAT(error->getValue<std::string>("message"),
                testing::HasSubstr(text.substr(blank + 1)));
  }

  void expectFault(const std::string& text) {
    const auto blank = text.find(' ');
    const auto end = text.find("] ");
    const std::string fault = R"({"message":")" + text.substr(end + 2) +
                              R"(","faultCode":"FileService.IOError","faultConditions":[{)" +
                              R"("faultId":")" + text.substr(0, blank) + R"(","faultInfo":)" +
                              text.substr(blank + 1, end - blank) + "}]}";
    const auto rest = REST_OF_FAILED_RESPONSE.find(type_);
    const std::string expected = "{" + (rest != REST_OF_FAILED_RESPONSE.end() ? rest->second : "") +
                                 (type_ == "MoveFile" ? R"("fault":)" + fault + "," : "") +
                                 R"("messageFaults":[)" + fault + "]}";
    expectResult(*parseObject(expand(expected)));
  }

  void expectResult(const Object& expected) {
    Object whole;
    whole.set("uuid", uuid_).set("apiVersion", "1.0").set("messageFaults", Array::Ptr(new Array));
    for (const auto& [name, value] : expected) {
      whole.set(name, value);
    }
    ASSERT_TRUE(answer_->isObject("result")) << shown();
    const Var result = answer_->get("result");
    const std::string text = textOf(completed(Object::Ptr(new Object(whole)), result));
    EXPECT_TRUE(textOf(result) == text) << shown() << "\nis not\n" << text.substr(0, 2000);
  }

  [[nodiscard]] std::string shown() const { return textOf(answer_).substr(0, 2000); }

  [[nodiscard]] std::string expand(std::string text) const {
    text = Poco::replace(text, std::string("{root}"), root_.string());
    text = Poco::replace(text, std::string("{name}"), root_.filename().string());
    const Poco::RegularExpression repeat(R"(\{repeat (\d+) (.)\})");
    for (std::vector<std::string> found; repeat.split(text, found) > 0;) {
      text = Poco::replace(text, found[0], std::string(std::stoul(found[1]), found[2].front()));
    }
    return text;
  }

  fs::path script_;
  fs::path root_;
  std::optional<HostClient> host_;
  int number_ = 0;
  std::string type_;
  std::string uuid_;
  Disk before_;
  Object::Ptr answer_;
};

std::vector<fs::path> conversationFiles() {
  std::vector<fs::path> files;
  for (const auto& entry : fs::directory_iterator(CONVERSATIONS_DIRECTORY)) {
    if (entry.path().extension() == ".conversation") {
      files.push_back(entry.path());
    }
  }
  std::sort(files.begin(), files.end());
  return files;
}

class Conversations : public ScratchFolder, public testing::WithParamInterface<fs::path> {
protected:
  [[nodiscard]] bool isOf(const std::string& kind) const {
    return GetParam().filename().string().find(kind) != std::string::npos;
  }
};

} // namespace

TEST_P(Conversations, GoAsWritten) {
  if (isOf("confined_") && !canConfine()) {
    GTEST_SKIP() << "this kernel has no Landlock of version 2";
  }
  if (isOf("root_") && geteuid() != 0) {
    GTEST_SKIP() << "only root can give files to other users";
  }
  if (isOf("acl_") && runShell("setfacl -m u:0:r " + folder().string()).status != 0) {
    GTEST_SKIP() << "setfacl is not installed, or the file system has no ACLs";
  }
  if (isOf("injected_") && (SANITIZED || !canInject() || !canConfine())) {
    GTEST_SKIP() << "needs strace, Landlock, and a build without sanitizers";
  }
  umask(0002); // which the modes of new entries show
  if (!isOf("ordinary_user_")) {
    Conversation(GetParam(), folder()).run();
    return;
  }
  fs::permissions(folder(), fs::perms::all);
  asUnprivilegedUser([this] {
    if (access(CONNECTOR_HOST_PROGRAM, X_OK) != 0) {
      GTEST_SKIP() << "the build directory is closed to ordinary users";
    }
    Conversation(GetParam(), folder()).run();
  });
}

INSTANTIATE_TEST_SUITE_P(All, Conversations, testing::ValuesIn(conversationFiles()),
                         [](const auto& script) { return script.param.stem().string(); });

} // namespace connector::test
