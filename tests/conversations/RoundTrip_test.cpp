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

using Poco::JSON::Object;

class RoundTrip : public ScratchFolder {
protected:
  /// Lists and opens through the host everything beneath `source`, and creates it beneath `target`.
  /// The number of files.
  int copyTree(const std::string& source, const std::string& target) {
    const auto listed = result("ListFolder", "path", source);
    int files = 0;
    for (const auto& entry : *listed->getArray("folderContents")) {
      Object::Ptr file = entry.extract<Object::Ptr>();
      const auto location = file->getValue<std::string>("location");
      const bool isDirectory = file->getValue<bool>("isDirectory");
      if (!isDirectory) {
        file = result("OpenFile", "path", location)->getObject("file");
      }
      const std::string copy = target + location.substr(source.size());
      file->set("location", copy);
      result("CreateFile", "file", file);
      files += isDirectory ? copyTree(location, copy) : 1;
    }
    return files;
  }

private:
  Object::Ptr result(const std::string& type, const std::string& key,
                     const Poco::Dynamic::Var& value) {
    Object params;
    params.set(key, value);
    const auto answer = host_.ask(type, textOf(params));
    const auto response = answer->getObject("result");
    if (response.isNull() || response->getArray("messageFaults")->size() != 0) {
      throw std::runtime_error(textOf(answer));
    }
    return response;
  }

  HostClient host_{folder()};
};

} // namespace

TEST_F(RoundTrip, LosesNoByteOfARealTree) {
  // Real files of every kind that the machine has, and one of each kind that it may lack.
  const std::string script = "set -e; cd " + folder().string() + R"sh(
    mkdir -p copy tree/deep/er; cd tree
    cp -RL /usr/include/c++/*/bits bits
    cp /bin/ls /bin/sh deep
    : > empty
    head -c 19999999 /dev/urandom > 'deep/binary at the limit'
    head -c 14999999 deep/'binary at the limit' | base64 -w 0 | head -c 19999999 > text-at-the-limit
    printf 'no newline' > 'größe 漢 😀'
    printf '\r\n\000\r' > "$(printf 'deep/er/caf\351 \200\377')"
  )sh";
  ASSERT_EQ(runShell(script).status, 0);
  EXPECT_GT(copyTree(at("tree").string(), at("copy").string()), 100);
  const auto diff = runShell("cd " + folder().string() + "; diff -r tree copy");
  EXPECT_EQ(diff.status, 0) << diff.output;
}

} // namespace connector::test
