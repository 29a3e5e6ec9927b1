#include "support/Machine.h"
#include "support/ScratchFolder.h"

#include <fl/filesystem/fstream.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace fl::filesystem::test {
namespace {

using connector::test::openDescriptors;

constexpr auto replacing = std::ios_base::out | std::ios_base::trunc | std::ios_base::binary;

using Streams = connector::test::ScratchFolder;

TEST_F(Streams, ARefusedOpenSetsTheFailbitAndLeavesErrno) {
  makeFolder("folder");
  const auto before = disk();
  const auto descriptors = openDescriptors();
  {
    const ifstream missing(textAt("nothing"), std::ios_base::binary, 0x40);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_TRUE(missing.fail());
    const ofstream onFolder(at("folder"), replacing, 0x40);
    EXPECT_EQ(errno, EISDIR);
    EXPECT_TRUE(onFolder.fail());
    ofstream cutShort(at("a").string() + '\0' + "b", replacing, 0x40);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_FALSE(cutShort.is_open());
    cutShort.close();
    EXPECT_TRUE(cutShort.fail());
  }
  ifstream missing(textAt("nothing"), std::ios_base::binary, 0x40);
  missing.seekg(0, std::ios_base::end);
  EXPECT_EQ(missing.tellg(), -1);
  EXPECT_EQ(disk(), before);
  EXPECT_EQ(openDescriptors(), descriptors);
}

TEST_F(Streams, WritingEmptiesAFileOnlyWithTrunc) {
  writeFile("file", "12345");
  ofstream(at("file"), std::ios_base::out, 0x40) << "ab";
  EXPECT_EQ(readFile("file"), "ab345");
  ofstream(at("file"), std::ios_base::out | std::ios_base::app, 0x40) << "6";
  EXPECT_EQ(readFile("file"), "ab3456");
  ofstream(at("file"), replacing, 0x40).put('z');
  EXPECT_EQ(readFile("file"), "z");
  ofstream(at("new"), std::ios_base::out, 0x40).close();
  EXPECT_EQ(readFile("new"), "");
}

TEST_F(Streams, NeverWaitForAFifo) {
  ASSERT_EQ(::mkfifo(at("fifo").c_str(), 0600), 0);
  const ofstream withoutReader(at("fifo"), replacing, 0x40);
  EXPECT_EQ(errno, ENXIO);
  EXPECT_TRUE(withoutReader.fail());

  ifstream reader(textAt("fifo"), std::ios_base::binary, 0x40);
  ASSERT_TRUE(reader.good());
  ofstream writer(at("fifo"), replacing, 0x40);
  ASSERT_TRUE(writer.is_open());
  EXPECT_EQ(reader.get(), std::char_traits<char>::eof());

  const std::string moreThanThePipeHolds(4'000'000, 'x');
  writer.write(moreThanThePipeHolds.data(), 4'000'000);
  EXPECT_EQ(errno, EAGAIN);
  EXPECT_TRUE(writer.bad());
}

TEST_F(Streams, HoldOneCloseOnExecDescriptorUntilClosed) {
  const int before = openDescriptors();
  const int lowest = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
  ::close(lowest); // the next one has this number
  ofstream writer(at("file"), replacing, 0x40);
  EXPECT_EQ(::fcntl(lowest, F_GETFD), FD_CLOEXEC);
  EXPECT_EQ(openDescriptors(), before + 1);
  writer.close();
  EXPECT_TRUE(writer.good());
  EXPECT_EQ(openDescriptors(), before);
}

} // namespace
} // namespace fl::filesystem::test
