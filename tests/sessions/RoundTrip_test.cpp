#include "support/HostClient.h"
#include "support/ScratchFolder.h"
#include "support/Shell.h"

#include <Poco/JSON/Array.h>
#include <Poco/JSON/Object.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <stdexcept>
#include <string>

namespace connector::test {

namespace {

namespace fs = std::filesystem;
using Poco::JSON::Object;

class RoundTrip : public ScratchFolder {
protected:
  /// Copies what the host lists and opens beneath `source` to the same place beneath `target` by
  /// creating it through the host; the number of files.
  int copyFolder(const std::string& source, const std::string& target) {
    const auto listed = result("ListFolder", *params("path", source));
    int files = 0;
    for (const auto& entry : *listed->getArray("folderContents")) {
      Object::Ptr info = entry.extract<Object::Ptr>();
      const auto location = info->getValue<std::string>("location");
      const std::string copy = target + location.substr(source.size());
      if (info->getValue<bool>("isDirectory")) {
        info->set("location", copy);
        result("CreateFile", *params("file", info));
        files += copyFolder(location, copy);
        continue;
      }
      auto file = result("OpenFile", *params("path", location))->getObject("file");
      file->set("location", copy);
      result("CreateFile", *params("file", file));
      ++files;
    }
    return files;
  }

  void expectSame(const std::string& left, const std::string& right) const {
    const auto diff = runShell("cd " + folder().string() + "; diff -r " + left + " " + right);
    EXPECT_EQ(diff.status, 0) << diff.output; // a second opinion
  }

  static Object::Ptr params(const std::string& key, const Poco::Dynamic::Var& value) {
    Object::Ptr object = new Object;
    object->set(key, value);
    return object;
  }

  Object::Ptr result(const std::string& type, const Object& params) {
    const auto answer = host_.ask(type, textOf(params));
    const auto response = answer->getObject("result");
    if (response.isNull() || response->getArray("messageFaults")->size() != 0) {
      throw std::runtime_error(textOf(answer));
    }
    return response;
  }

private:
  HostClient host_{folder()};
};

/// Real files of every kind that the machine has, and one of each kind that it may lack.
void makeTree(const fs::path& tree) {
  const std::string script =
      "set -e; mkdir -p " + tree.string() + "/deep/er; cd " + tree.string() + R"sh(
    cp -RL /usr/include/c++/*/bits bits
    cp /bin/ls /bin/sh deep
    : > empty
    head -c 19999999 /dev/urandom > 'deep/binary at the limit'
    head -c 14999999 deep/'binary at the limit' | base64 -w 0 | head -c 19999999 > text-at-the-limit
    printf 'no newline' > 'größe 漢 😀'
    printf '\r\n\000\r' > "$(printf 'deep/er/caf\351 \200\377')"
  )sh";
  ASSERT_EQ(runShell(script).status, 0);
}

} // namespace

TEST_F(RoundTrip, LosesNoByteOfARealTree) {
  makeTree(at("tree"));
  makeFolder("copy");
  EXPECT_GT(copyFolder(at("tree").string(), at("copy").string()), 100);
  expectSame("tree", "copy");

  makeFolder("elsewhere");
  auto move = params("srcPath", at("copy").string());
  move->set("destPath", at("elsewhere").string());
  result("MoveFile", *move);
  EXPECT_FALSE(fs::exists(at("copy")));
  expectSame("tree", "elsewhere/copy");

  result("DeleteFile", *params("path", at("elsewhere/copy").string()));
  EXPECT_TRUE(fs::is_empty(at("elsewhere")));
}

} // namespace connector::test
