#include "Failure.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <vector>

namespace fl::filesystem::test {
namespace {

TEST(Exceptions, EachErrnoHasItsClassAndAnExceededQuotaIsAFullDisk) {
  const std::u16string path = u"/a/b";
  const std::vector<std::pair<int, Failure>> rows = {
      {EACCES, failure<AccessDenied>(EACCES, path)},
      {EPERM, failure<AccessDenied>(EPERM, path)},
      {EROFS, failure<AccessDenied>(EROFS, path)},
      {ENOENT, failure<PathNotFound>(ENOENT, path)},
      {EEXIST, failure<FileExistsError>(EEXIST, path)},
      {ENOTDIR, failure<NotDirectoryError>(ENOTDIR, path)},
      {ENOTEMPTY, failure<DirectoryNotEmpty>(ENOTEMPTY, path)},
      {ENAMETOOLONG, failure<FileNameTooLarge>(ENAMETOOLONG, path)},
      {ENOSPC, failure<SystemError>(ENOSPC, path)},
      {EDQUOT, failure<SystemError>(ENOSPC, path)},
  };
  for (const auto& [code, expected] : rows) {
    EXPECT_EQ(failureOf([code = code, &path] { detail::throw_errno(code, path); }), expected);
  }
}

TEST(Exceptions, TheTextSurvivesAPathThatIsNoText) {
  const std::u16string odd = {u'/', u'\u00e9', 0xD800, u'\0', u'b', 0xDC00};
  const AccessDenied error(EACCES, odd);
  EXPECT_THAT(error.what(), ::testing::StartsWith("Permission denied: /\xC3\xA9"));
  EXPECT_EQ(error.get_path(), odd);
}

} // namespace
} // namespace fl::filesystem::test
