#include <connector/file_common/v1/DataBuffer.h>
#include <connector/file_common/v1/FileInfo.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <utility>

namespace connector::file_common::v1 {
namespace {

TEST(FileInfo, NameIsTheLastComponentOfTheLocationAsGiven) {
  const FileInfo info(u"/w/sub/", true);
  EXPECT_EQ(info.getLocation(), u"/w/sub/");
  EXPECT_EQ(info.getName(), u"sub");
  EXPECT_TRUE(info.isDirectory());
  EXPECT_EQ(FileInfo().getName(), u"");
}

TEST(FileInfo, ALaterValueReplacesAnEarlierOneOfThatKeyAlone) {
  FileInfo info(u"/w/a", false);
  EXPECT_EQ(info.findAttribute(FileAttributes::SIZE), nullptr);

  info.setAttribute(FileAttributes::SIZE, std::uint64_t{1});
  info.setAttribute(FileAttributes::DELETED, true);
  info.setAttribute(FileAttributes::SIZE, std::uint64_t{2});

  ASSERT_NE(info.findAttribute(FileAttributes::SIZE), nullptr);
  EXPECT_EQ(boost::any_cast<std::uint64_t>(*info.findAttribute(FileAttributes::SIZE)), 2U);
  ASSERT_NE(info.findAttribute(FileAttributes::DELETED), nullptr);
  EXPECT_TRUE(boost::any_cast<bool>(*info.findAttribute(FileAttributes::DELETED)));
  EXPECT_EQ(info.findAttribute("Size"), nullptr);
}

TEST(DataBuffer, CopiesAreIndependentAndMovesLeaveNothing) {
  const std::string bytes("a\0\xFF", 3);
  DataBuffer original{std::string_view(bytes)};
  DataBuffer copy(original);
  DataBuffer assigned;
  assigned = copy;
  EXPECT_NE(copy.data(), original.data());
  EXPECT_NE(assigned.data(), copy.data());

  // NOLINTBEGIN(bugprone-use-after-move,clang-analyzer-cplusplus.Move): what is tested.
  const char* const memory = original.data();
  DataBuffer moved(std::move(original));
  EXPECT_EQ(moved.data(), memory);
  EXPECT_TRUE(original.view().empty());
  copy = std::move(moved);
  EXPECT_EQ(copy.data(), memory);
  EXPECT_TRUE(moved.view().empty());
  // NOLINTEND(bugprone-use-after-move,clang-analyzer-cplusplus.Move)

  EXPECT_EQ(copy.view(), bytes);
  EXPECT_EQ(assigned.view(), bytes);
  assigned = DataBuffer();
  const DataBuffer empty(assigned);
  EXPECT_EQ(empty.size(), 0U);
}

} // namespace
} // namespace connector::file_common::v1
