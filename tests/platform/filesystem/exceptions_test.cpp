#include "Failure.h"

#include <fl/filesystem/exceptions.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <vector>

namespace fl::filesystem::test {
namespace {

TEST(ErrnoMapping, GivesEachErrnoItsClass) {
  const std::u16string path = u"/a/b";
  const std::vector<std::pair<int, Failure>> rows = {
      {EACCES, failure<AccessDenied>(13, path)},
      {EPERM, failure<AccessDenied>(1, path)},
      {EROFS, failure<AccessDenied>(30, path)},
      {ENOENT, failure<PathNotFound>(2, path)},
      {EEXIST, failure<FileExistsError>(17, path)},
      {ENOTDIR, failure<NotDirectoryError>(20, path)},
      {ENOTEMPTY, failure<DirectoryNotEmpty>(39, path)},
      {ENAMETOOLONG, failure<FileNameTooLarge>(36, path)},
      {ENOSPC, failure<SystemError>(28, path)},
      {EDQUOT, failure<SystemError>(28, path)},
      {EBUSY, failure<SystemError>(16, path)},
      {EISDIR, failure<SystemError>(21, path)},
      {ELOOP, failure<SystemError>(40, path)},
  };
  for (const auto& [code, expected] : rows) {
    EXPECT_EQ(failureOf([code = code, &path] { detail::throw_errno(code, path); }), expected);
  }
}

TEST(SystemErrorException, ReportsAnExceededQuotaAsAFullDiskAndKeepsItsArguments) {
  const SystemError error(EDQUOT, u"/a", {u"one", u"two"});
  EXPECT_EQ(error.get_error_code(), 28U);
  EXPECT_THAT(error.get_arguments(), ::testing::ElementsAre(u"one", u"two"));
}

TEST(ExceptionText, NamesTheReasonAndThePath) {
  EXPECT_STREQ(PathNotFound(ENOENT, u"/a/\u00e9").what(), "No such file or directory: /a/\xC3\xA9");
}

TEST(ExceptionText, SurvivesAPathThatIsNoText) {
  const std::u16string odd = {u'/', u'a', 0xD800, u'\0', u'b', 0xDC00};
  const AccessDenied error(EACCES, odd);
  EXPECT_THAT(error.what(), ::testing::StartsWith("Permission denied: /a"));
  EXPECT_EQ(error.get_path(), odd);
}

} // namespace
} // namespace fl::filesystem::test
