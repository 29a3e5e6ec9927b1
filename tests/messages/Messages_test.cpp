#include <connector/file/v1/FileServiceProvider.h>
#include <connector/file/v1/Messages.h>

#include <gtest/gtest.h>

#include <memory>
#include <type_traits>

namespace connector::file::v1::test {
namespace {

template <typename... M>
constexpr bool ARE_REQUESTS = (... && (std::is_base_of_v<MessageAPI<M, FileServiceProvider>, M> &&
                                       std::is_base_of_v<common::v1::Message, M> &&
                                       !std::is_base_of_v<common::v1::Response, M>));

template <typename... M>
constexpr bool ARE_RESPONSES = (... &&
                                (std::is_base_of_v<connector::Message, M> &&
                                 !std::is_base_of_v<ServiceMessage<FileServiceProvider>, M> &&
                                 std::is_base_of_v<common::v1::Response, M>));

static_assert(ARE_REQUESTS<CreateFile, OpenOrCreateFile, OpenFile, UpdateFile, CloseFile,
                           RenameFile, MoveFile, DeleteFile, ListFolder>);
static_assert(ARE_RESPONSES<CreateFileResponse, OpenOrCreateFileResponse, OpenFileResponse,
                            UpdateFileResponse, CloseFileResponse, RenameFileResponse,
                            MoveFileResponse, DeleteFileResponse, ListFolderResponse>);
static_assert(!std::is_base_of_v<ServiceMessage<FileServiceProvider>, OpenWithBrowser>);
static_assert(!std::is_copy_constructible_v<OpenFile>);
static_assert(!std::is_copy_constructible_v<OpenFileResponse>);

TEST(Messages, BeginWithTheSideThatTheFrameworkHolds) {
  OpenFile request("", u"", {});
  OpenFileResponse response("", File(), {}, {});

  EXPECT_EQ(dynamic_cast<void*>(&request), static_cast<connector::Message*>(&request));
  EXPECT_EQ(dynamic_cast<void*>(&response), static_cast<connector::Message*>(&response));
}

TEST(Messages, AreDestroyedWholeFromEitherBase) {
  const auto content = std::make_shared<int>();
  const auto make = [&content] {
    FileInfo info(u"/w/a", false);
    info.setAttribute("content", content);
    return std::make_unique<UpdateFile>("", File(std::move(info)), Version());
  };
  std::unique_ptr<connector::Message> framework = make();
  std::unique_ptr<common::v1::Message> common = make();
  ASSERT_EQ(content.use_count(), 3);

  framework.reset();
  EXPECT_EQ(content.use_count(), 2);
  common.reset();
  EXPECT_EQ(content.use_count(), 1);
}

} // namespace
} // namespace connector::file::v1::test
