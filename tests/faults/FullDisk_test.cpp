#include "faults/FaultTest.h"
#include "support/Measured.h"
#include "support/SmallTmpfs.h"

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
  const char* params; // "@" stands for the folder of that disk, "$" for what is outside, "#" for
                      // contents that are too big for it
  bool isSeenAhead = false; // by the file service, which has a text of its own for it

  friend std::ostream& operator<<(std::ostream& out, const Row& row) { return out << row.name; }
};

class FullDisk : public FaultTest, public ::testing::WithParamInterface<Row> {
protected:
  static void TearDownTestSuite() {
    printMeasured(std::to_string(filled) + " requests that do not fit: each told, nothing lost");
  }

  void makeOutside() {
    writeFile("outside/small.txt", "small contents");
    writeFile("outside/big.bin", std::string(200'000, 'b'));
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

  static inline int filled = 0;
};

TEST_P(FullDisk, IsToldAndLosesNothing) {
  makeOutside();
  writeFile("disk/old.txt", "old contents");
  ASSERT_EQ(run().condition, "") << "with room enough";
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
  filled += IsSkipped() ? 0 : 1;
}

constexpr const char* fewBlocks = "size=64k";
constexpr const char* noInode = "nr_inodes=2";
constexpr const char* oneInode = "nr_inodes=3";

INSTANTIATE_TEST_SUITE_P(
    Of, FullDisk,
    ::testing::Values(
        Row{"CreateFile", fewBlocks, "CreateFile",
            R"({"file":{"location":"@/new.txt","contents":"#"}})"},
        Row{"CreateFileOverAnother", fewBlocks, "CreateFile",
            R"({"file":{"location":"@/old.txt","contents":"#"},"updateIfExists":true})"},
        Row{"UpdateFile", fewBlocks, "UpdateFile",
            R"({"file":{"location":"@/old.txt","contents":"#"}})"},
        Row{"CloseFile", fewBlocks, "CloseFile",
            R"({"file":{"location":"@/old.txt","contents":"#"},"updateFile":true})"},
        Row{"MoveFile", fewBlocks, "MoveFile", R"({"srcPath":"$/big.bin","destPath":"@"})"},
        Row{"MoveFolder", fewBlocks, "MoveFile", R"({"srcPath":"$/folder","destPath":"@"})"},
        Row{"CreateFileWithoutInodes", noInode, "CreateFile",
            R"({"file":{"location":"@/new.txt","contents":"new"}})", true},
        Row{"CreateFileWithoutInodesBeneathAFolder", oneInode, "CreateFile",
            R"({"file":{"location":"@/made/new.txt","contents":"new"}})"},
        Row{"CreateFolderWithoutInodes", noInode, "CreateFile",
            R"({"file":{"location":"@/made","isDirectory":true}})"},
        Row{"OpenOrCreateFileWithoutInodes", noInode, "OpenOrCreateFile", R"({"path":"@/new.txt"})",
            true},
        Row{"MoveFileWithoutInodes", noInode, "MoveFile",
            R"({"srcPath":"$/small.txt","destPath":"@"})"},
        Row{"MoveFolderWithoutInodes", oneInode, "MoveFile",
            R"({"srcPath":"$/folder","destPath":"@"})"}),
    ::testing::PrintToStringParamName());

} // namespace

} // namespace connector::test
