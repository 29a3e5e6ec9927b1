// Drives a real connector-host through the *.conversation files in this directory; README.md
// explains their lines.

#include "support/ChildProcess.h"
#include "support/HostClient.h"
#include "support/Machine.h"
#include "support/ScratchDirectory.h"

#include <Poco/Dynamic/Var.h>
#include <Poco/JSON/Array.h>
#include <Poco/RegularExpression.h>
#include <Poco/String.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <string>
#include <sys/stat.h>
#include <tuple>
#include <unistd.h>
#include <utility>
#include <vector>

namespace connector::test {

namespace {

namespace fs = std::filesystem;
using Poco::Dynamic::Var;
using Poco::JSON::Array;
using Poco::JSON::Object;

/// Returns whether the value is the expected one; README.md explains the placeholders.
bool matches(const Var& expected, const Var& actual) {
  if (expected.isString() && expected.toString() == "{any}") {
    return true;
  }
  if (expected.type() == typeid(Object::Ptr) && actual.type() == typeid(Object::Ptr)) {
    const auto& pattern = *expected.extract<Object::Ptr>();
    const auto& found = *actual.extract<Object::Ptr>();
    return (pattern.has("...") || pattern.size() == found.size()) &&
           std::all_of(pattern.begin(), pattern.end(), [&](const auto& member) {
             return member.first == "..." ||
                    (found.has(member.first) && matches(member.second, found.get(member.first)));
           });
  }
  if (expected.type() == typeid(Array::Ptr) && actual.type() == typeid(Array::Ptr)) {
    const auto& pattern = *expected.extract<Array::Ptr>();
    const auto& found = *actual.extract<Array::Ptr>();
    return std::equal(pattern.begin(), pattern.end(), found.begin(), found.end(), matches);
  }
  return textOf(expected) == textOf(actual);
}

/// Maps a request type to the keys that only its failed response has, with their values. MoveFile's
/// fault is added in expectFault.
const std::map<std::string, std::string> OWN_KEYS_OF_FAILED_RESPONSE{
    {"OpenFile", R"("lineNumber":-1,"column":-1,"isDebugEvent":false,)"},
    {"RenameFile", R"("newFileInfo":{"location":"","name":"","isDirectory":false},)"},
    {"MoveFile", R"("srcPath":{"location":"","name":"","isDirectory":false},)"},
    {"ListFolder", R"("folderContents":[],)"}};

/// Precedes each shell command. `await TEST` waits until `test TEST` holds, for a few seconds at
/// most, so that no command in the background outlives its conversation by much.
constexpr auto SHELL_FUNCTIONS =
    "await() { for try in $(seq 500); do test \"$@\" && return; sleep 0.01; done; exit 1; }; ";

/// Returns the text before the first blank, and the text after it.
std::pair<std::string, std::string> splitAtBlank(const std::string& text) {
  const auto blank = text.find(' ');
  return {text.substr(0, blank), text.substr(std::min(blank, text.size() - 1) + 1)};
}

class Conversation {
public:
  Conversation(const fs::path& script, const fs::path& root)
      : script_(script)
      , root_(root) {}

  void run() {
    std::ifstream lines(script_);
    int number = 0;
    for (std::string line; std::getline(lines, line) && !testing::Test::HasFailure();) {
      SCOPED_TRACE(script_.string() + ":" + std::to_string(++number) + ": " + line.substr(0, 300));
      if (!line.empty() && line[0] != '#') {
        step(line);
      }
    }
    EXPECT_EQ(host().finish(), 0);
  }

private:
  HostClient& host() { return host_ ? *host_ : host_.emplace(root_); }

  void step(const std::string& line) {
    const auto& [mark, text] = splitAtBlank(line);
    if (mark == "$") {
      const std::string command =
          SHELL_FUNCTIONS + ("cd '" + root_.string()) + "' && { " + text + "; }";
      EXPECT_EQ(std::system(command.c_str()), 0); // NOLINT(cert-env33-c): the script's purpose
    } else if (mark == "=") {
      host_.emplace(root_, HostClient::withOptions(text));
    } else if (mark == "*") {
      host_.emplace(root_, std::vector<std::string>{"sh", "-c", text});
    } else if (mark == ">") {
      sendRequest(text);
    } else if (mark == "<x") {
      expectError(text);
    } else if (mark == "<!" || mark == "<~") {
      expectFault(text);
      EXPECT_EQ(snapshot(root_) == before_, mark == "<!") << "whether the disk is unchanged";
    } else if (mark == "<") {
      expectResult(*parseObject(expand(text)));
    } else {
      ADD_FAILURE() << "unknown kind of line";
    }
  }

  void sendRequest(const std::string& text) {
    std::string params;
    std::tie(type_, params) = splitAtBlank(expand(text));
    const auto uuid = parseObject(params)->get("uuid");
    uuid_ = uuid.isEmpty() ? "notset" : uuid.toString();
    before_ = snapshot(root_);
    answer_ = host().ask(type_, params);
  }

  void expectError(const std::string& codeAndText) {
    const auto& [code, text] = splitAtBlank(codeAndText);
    ASSERT_TRUE(answer_->isObject("error")) << shown();
    const auto error = answer_->getObject("error");
    EXPECT_EQ(error->getValue<std::string>("code"), code);
    EXPECT_THAT(error->getValue<std::string>("message"), testing::HasSubstr(text));
  }

  void expectFault(const std::string& line) {
    const auto& [condition, rest] = splitAtBlank(line);
    const auto end = rest.find("] ") + 1;
    const std::string fault = R"({"message":")" + rest.substr(end + 1) +
                              R"(","faultCode":"FileService.IOError","faultConditions":[{)" +
                              R"("faultId":")" + condition + R"(","faultInfo":)" +
                              rest.substr(0, end) + "}]}";
    const auto own = OWN_KEYS_OF_FAILED_RESPONSE.find(type_);
    const std::string expected = "{" +
                                 (own != OWN_KEYS_OF_FAILED_RESPONSE.end() ? own->second : "") +
                                 (type_ == "MoveFile" ? R"("fault":)" + fault + "," : "") +
                                 R"("messageFaults":[)" + fault + "]}";
    expectResult(*parseObject(expand(expected)));
  }

  void expectResult(const Object& expected) {
    Object::Ptr whole = new Object;
    whole->set("uuid", uuid_).set("apiVersion", "1.0").set("messageFaults", Array::Ptr(new Array));
    for (const auto& [name, value] : expected) {
      whole->set(name, value);
    }
    ASSERT_TRUE(answer_->isObject("result")) << shown();
    EXPECT_TRUE(matches(whole, answer_->get("result"))) << shown() << "\nis not\n"
                                                        << textOf(whole).substr(0, 2000);
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

class Conversations : public ScratchDirectory, public testing::WithParamInterface<fs::path> {};

} // namespace

TEST_P(Conversations, GoAsWritten) {
  const auto nameHas = [name = GetParam().filename().string()](const std::string& word) {
    return name.find(word) != std::string::npos;
  };
  if (nameHas("confined_") && !canConfine()) {
    GTEST_SKIP() << "this kernel has no Landlock of version 2";
  }
  if (nameHas("root_") && geteuid() != 0) {
    GTEST_SKIP() << "only root can give files to other users";
  }
  if (nameHas("acl_") && runShell("setfacl -m u:0:r " + directory().string()).status != 0) {
    GTEST_SKIP() << "setfacl is not installed, or the file system has no ACLs";
  }
  if (nameHas("injected_") && (SANITIZED || !canInject() || !canConfine())) {
    GTEST_SKIP() << "needs strace, Landlock, and a build without sanitizers";
  }
  setenv("HOST", CONNECTOR_HOST_PROGRAM, 1);
  umask(0002); // the modes of new files depend on it
  const auto converse = [this] { Conversation(GetParam(), directory()).run(); };
  if (nameHas("small_disk_")) {
    onTmpfs(directory(), "size=64k,nr_inodes=32", converse);
  } else if (nameHas("ordinary_user_")) {
    fs::permissions(directory(), fs::perms::all);
    asUnprivilegedUser([&] {
      if (access(CONNECTOR_HOST_PROGRAM, X_OK) != 0) {
        GTEST_SKIP() << "the build directory is closed to ordinary users";
      }
      converse();
    });
  } else {
    converse();
  }
}

INSTANTIATE_TEST_SUITE_P(All, Conversations, testing::ValuesIn(conversationFiles()),
                         [](const auto& script) { return script.param.stem().string(); });

} // namespace connector::test
