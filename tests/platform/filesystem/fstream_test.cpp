#include "support/OpenDescriptors.h"
#include "support/ScratchFolder.h"
#include "support/SmallTmpfs.h"

#include <fl/filesystem/fstream.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>

namespace fl::filesystem::test {
namespace {

using connector::test::onTmpfs;
using connector::test::openDescriptors;

constexpr auto replacing = std::ios_base::out | std::ios_base::trunc | std::ios_base::binary;

using Streams = connector::test::ScratchFolder;

TEST_F(Streams, ReadAWholeFileInOneBlock) {
  std::string contents(300'000, '\0');
  for (std::size_t index = 0; index < contents.size(); ++index) {
    contents[index] = static_cast<char>(index * 7 % 251);
  }
  writeFile("file", contents);

  ifstream stream(textAt("file"), std::ios_base::binary, share_read_write);
  stream.seekg(0, std::ios_base::end);
  const std::streamoff size = stream.tellg();
  stream.seekg(0, std::ios_base::beg);
  ASSERT_EQ(size, 300'000);
  std::string block(contents.size(), '\0');
  stream.read(block.data(), size);
  EXPECT_EQ(stream.gcount(), size);
  EXPECT_TRUE(stream.good()); // Nothing was read beyond what was asked.
  EXPECT_EQ(block, contents);
}

TEST_F(Streams, SeekAndTellCountFromWhatWasConsumed) {
  writeFile("file", "one\ntwo\nthree\n");
  ifstream stream(textAt("file"), std::ios_base::in, share_read_write);
  std::string line;
  std::getline(stream, line);
  EXPECT_EQ(line, "one");
  std::string block(3, '\0');
  stream.read(block.data(), 3);
  EXPECT_EQ(block, "two");
  EXPECT_EQ(stream.get(), '\n');
  EXPECT_EQ(stream.tellg(), 8);
  stream.seekg(-4, std::ios_base::cur);
  std::getline(stream, line);
  EXPECT_EQ(line, "two");
  std::string rest(100, '\0');
  stream.read(rest.data(), 100);
  EXPECT_EQ(rest.substr(0, static_cast<std::size_t>(stream.gcount())), "three\n");
  EXPECT_TRUE(stream.eof());
}

TEST_F(Streams, ARefusedOpenSetsTheFailbitAndLeavesErrno) {
  makeFolder("folder");
  const auto before = disk();
  const auto descriptors = openDescriptors();
  {
    const ifstream missing(textAt("nothing"), std::ios_base::binary, share_read_write);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_TRUE(missing.fail());
    EXPECT_FALSE(missing.is_open());
    const ofstream onFolder(at("folder"), replacing, share_read_write);
    EXPECT_EQ(errno, EISDIR);
    EXPECT_TRUE(onFolder.fail());
    ofstream cutShort(at("a").string() + '\0' + "b", replacing, share_read_write);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_FALSE(cutShort.is_open());
    cutShort.close();
    EXPECT_TRUE(cutShort.fail());
  }
  ifstream missing(textAt("nothing"), std::ios_base::binary, share_read_write);
  missing.seekg(0, std::ios_base::end);
  EXPECT_EQ(missing.tellg(), -1);
  EXPECT_EQ(disk(), before);
  EXPECT_EQ(openDescriptors(), descriptors);
}

TEST_F(Streams, WritingEmptiesAFileOnlyWithTrunc) {
  writeFile("file", "12345");
  ofstream(at("file"), std::ios_base::out, share_read_write) << "ab";
  EXPECT_EQ(readFile("file"), "ab345");
  ofstream(at("file"), std::ios_base::out | std::ios_base::app, share_read_write) << "6";
  EXPECT_EQ(readFile("file"), "ab3456");
  ofstream(at("file"), replacing, share_read_write).put('z');
  EXPECT_EQ(readFile("file"), "z");
  ofstream(at("new"), std::ios_base::out, share_read_write).close();
  EXPECT_EQ(readFile("new"), "");
}

TEST_F(Streams, WhatIsWrittenIsOnDiskAtOnce) {
  ofstream stream(at("file"), replacing, share_read_write);
  stream.write("a\0b", 3);
  EXPECT_EQ(readFile("file"), std::string("a\0b", 3));
  stream << 'c';
  EXPECT_EQ(readFile("file"), std::string("a\0bc", 4));
}

TEST_F(Streams, AWriteThatTheDiskRefusesFailsAtThatWriteWithItsErrno) {
  onTmpfs(folder(), "size=64k", [this] {
    const std::string contents(1'000'000, 'x');
    ofstream stream(at("file"), replacing, share_read_write);
    errno = 0;
    stream.write(contents.data(), 1'000'000);
    EXPECT_EQ(errno, ENOSPC);
    EXPECT_TRUE(stream.bad());

    ofstream small(at("small"), replacing, share_read_write);
    small.write("x", 1);
    EXPECT_EQ(errno, ENOSPC);
    EXPECT_TRUE(small.bad());
  });
}

TEST_F(Streams, AReadThatTheSystemRefusesIsNoEndOfTheFile) {
  makeFolder("folder");
  char byte = 0;
  ifstream block(textAt("folder"), std::ios_base::binary, share_read_write);
  errno = 0;
  block.read(&byte, 1);
  EXPECT_EQ(errno, EISDIR);
  EXPECT_TRUE(block.bad());
  ifstream single(textAt("folder"), std::ios_base::binary, share_read_write);
  single.get();
  EXPECT_TRUE(single.bad());
}

TEST_F(Streams, NeverWaitForAFifo) {
  ASSERT_EQ(::mkfifo(at("fifo").c_str(), 0600), 0);
  const ofstream withoutReader(at("fifo"), replacing, share_read_write);
  EXPECT_EQ(errno, ENXIO);
  EXPECT_TRUE(withoutReader.fail());

  ifstream reader(textAt("fifo"), std::ios_base::binary, share_read_write);
  ASSERT_TRUE(reader.is_open());
  ofstream writer(at("fifo"), replacing, share_read_write);
  ASSERT_TRUE(writer.is_open());
  EXPECT_EQ(reader.get(), std::char_traits<char>::eof());

  const std::string moreThanThePipeHolds(4'000'000, 'x');
  writer.write(moreThanThePipeHolds.data(), 4'000'000);
  EXPECT_EQ(errno, EAGAIN);
  EXPECT_TRUE(writer.bad());
}

TEST_F(Streams, HoldOneCloseOnExecDescriptorUntilClosed) {
  const auto before = openDescriptors();
  ofstream writer(at("file"), replacing, share_read_write);
  ifstream reader(textAt("file"), std::ios_base::binary, share_read_write);
  const auto during = openDescriptors();
  EXPECT_EQ(during.size(), before.size() + 2);
  for (const int number : during) {
    EXPECT_TRUE(before.count(number) == 1 || (::fcntl(number, F_GETFD) & FD_CLOEXEC) != 0);
  }
  writer.close();
  EXPECT_TRUE(writer.good());
  reader.close();
  EXPECT_EQ(openDescriptors(), before);
}

} // namespace
} // namespace fl::filesystem::test
