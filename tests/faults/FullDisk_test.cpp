#include "faults/FaultTest.h"
#include "support/ChildProcess.h"

#include <Poco/String.h>
#include <gtest/gtest.h>

#include <ostream>
#include <string>

namespace connector::test {

namespace {

struct Row {
  const char* name;
  const char* disk; // options of its tmpfs, which holds one small file
  const char* type;
  const char* params; // "@" is that disk, "$" a directory outside, "#" contents too big for it
  bool isSeenAhead = false; // by the file service, which has its own text for it

  friend std::ostream& operator<<(std::ostream& out, const Row& row) { return out << row.name; }
};

class FullDisk : public FaultTest, public ::testing::WithParamInterface<Row> {
protected:
  void makeOutside() {
    writeFile("outside/small.txt", "small contents");
    writeFile("outside/folder/aa.txt", "aa contents");
    writeFile("outside/folder/bb.bin", std::string(200'001, 'b'));
    writeFile("outside/folder/cc.txt", "cc contents");
  }

  Outcome run() {
    HostClient host(folder());
    std::string params = GetParam().params;
    Poco::replaceInPlace(params, "@", at("disk").c_str());
    Poco::replaceInPlace(params, "$", at("outside").c_str());
    Poco::replaceInPlace(params, "#", std::string(200'002, 'n').c_str());
    Outcome outcome = outcomeOf(host, GetParam().type, params);
    EXPECT_EQ(host.finish(), 0);
    return outcome;
  }
};

TEST_P(FullDisk, IsReportedAndLosesNothing) {
  makeOutside();
  writeFile("disk/old.txt", "old contents");
  ASSERT_EQ(run().condition, "") << "with enough space";
  const Disk after = disk();
  makeOutside();

  onTmpfs(at("disk"), GetParam().disk, [&] {
    writeFile("disk/old.txt", "old contents");
    const Disk before = disk();
    const Outcome outcome = run();
    EXPECT_EQ(outcome.condition, "OVER_DISK_QUOTA") << outcome.response;
    const std::string ahead = at("disk").string() + " disk quota exceeded.";
    EXPECT_EQ(outcome.response.find(ahead) != std::string::npos, GetParam().isSeenAhead);
    EXPECT_EQ(outcome.descriptorsLeftOpen, 0);
    expectNothingLost(before, after, disk());
  });
}

constexpr const char* FEW_BLOCKS = "size=64k";
constexpr const char* NO_INODE = "nr_inodes=2";

INSTANTIATE_TEST_SUITE_P(
    Of, FullDisk,
    ::testing::Values(Row{"CreateFile", FEW_BLOCKS, "CreateFile",
                          R"({"file":{"location":"@/new.txt","contents":"#"}})"},
                      Row{"UpdateFile", FEW_BLOCKS, "UpdateFile",
                          R"({"file":{"location":"@/old.txt","contents":"#"}})"},
                      Row{"MoveFolder", FEW_BLOCKS, "MoveFile",
                          R"({"srcPath":"$/folder","destPath":"@"})"},
                      Row{"CreateFolderWithoutInodes", NO_INODE, "CreateFile",
                          R"({"file":{"location":"@/made","isDirectory":true}})"},
                      Row{"MoveFileWithoutInodes", NO_INODE, "MoveFile",
                          R"({"srcPath":"$/small.txt","destPath":"@"})"},
                      Row{"OpenOrCreateFileWithoutInodes", NO_INODE, "OpenOrCreateFile",
                          R"({"path":"@/new.txt"})", true}),
    ::testing::PrintToStringParamName());

} // namespace

} // namespace connector::test
