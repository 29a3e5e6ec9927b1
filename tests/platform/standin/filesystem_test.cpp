#include "native_name.h"
#include "platform/Failure.h"
#include "support/ChildProcess.h"
#include "support/Machine.h"
#include "support/ScratchFolder.h"
#include "throw_errno.h"

#include <connector/file_common/v1/FileNames.h>
#include <fl/filesystem/fstream.h>
#include <fl/filesystem/operations.h>

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace fl::filesystem::test {
namespace {

using connector::test::onTmpfs;
using connector::test::openDescriptors;

constexpr int SHARE_READ_WRITE = 0x40;
constexpr auto REPLACING = std::ios_base::trunc | std::ios_base::binary;

class StandIn : public connector::test::ScratchFolder {
protected:
  [[nodiscard]] boost::posix_time::time_duration lastWriteSinceEpoch(timespec time) const {
    const std::array<timespec, 2> times{timespec{0, UTIME_OMIT}, time};
    EXPECT_EQ(::utimensat(AT_FDCWD, at("file").c_str(), times.data(), 0), 0);
    const boost::posix_time::ptime epoch(boost::gregorian::date(1970, 1, 1));
    return status(textAt("file")).last_write_time() - epoch;
  }
};

TEST_F(StandIn, HasOneUtf16FormForEachNativeName) {
  const std::vector<std::pair<std::string, std::u16string>> rows = {
      {"a\xC3\xA9", u"a\u00e9"},                         // two bytes
      {"\xF0\x9F\x98\x80", u"\U0001F600"},               // four bytes
      {"\xEE\xBD\xBF\xEF\x80\x80", u"\uef7f\uf000"},     // private use outside the escapes
      {"\x80-\xFF", u"\uef80-\uefff"},                   // lone high bytes
      {"\xC0\xAF", u"\uefc0\uefaf"},                     // overlong
      {"\xED\xA0\x80", u"\uefed\uefa0\uef80"},           // surrogate
      {"\xF4\x90\x80\x80", u"\ueff4\uef90\uef80\uef80"}, // beyond Unicode
      {"\xE4\xB8z", u"\uefe4\uefb8z"},                   // truncated, then text
      {"z\xF0\x9F\x98", u"z\ueff0\uef9f\uef98"},         // truncated at the end
      {"\xE4\xC3\xA9", u"\uefe4\u00e9"},                 // broken off by a valid one
      {"\xEE\xBE\x80", u"\uefee\uefbe\uef80"},           // an escape as real UTF-8
  };
  for (const auto& [bytes, text] : rows) {
    EXPECT_EQ(detail::native_to_utf16(bytes), text);
    EXPECT_EQ(detail::utf16_to_native(text), bytes);
  }
  // Escaped bytes that are plain UTF-8, or complete a character across plain text.
  for (const char16_t* text : {u"\uefc3\uefa9", u"/a/\ueff0\uef9f\uef98\uef80/b"}) {
    EXPECT_EQ(failureOf([=] { detail::utf16_to_native(text); }),
              failure<FileNameConversionFailure>(EILSEQ, text));
  }
}

TEST_F(StandIn, DeniesAccessForEveryLackOfPermission) {
  for (const int code : {EACCES, EPERM, EROFS}) {
    EXPECT_EQ(failureOf([=] { detail::throw_errno(code, u"/a"); }),
              failure<AccessDenied>(code, u"/a"));
  }
}

TEST_F(StandIn, LastWriteTimesAreExactOrInfinite) {
  onTmpfs(folder(), "size=64k", [this] {
    constexpr std::int64_t aeons = std::int64_t{1} << 45U;
    constexpr std::int64_t representable = 9'000'000'000'000;
    writeFile("file");
    EXPECT_EQ(lastWriteSinceEpoch({-1, 750'000'000}).total_microseconds(), -250'000);
    EXPECT_TRUE(lastWriteSinceEpoch({aeons, 0}).is_pos_infinity());
    EXPECT_TRUE(lastWriteSinceEpoch({-aeons, 0}).is_neg_infinity());
    EXPECT_EQ(lastWriteSinceEpoch({representable, 0}).total_seconds(), representable);
    EXPECT_EQ(lastWriteSinceEpoch({-representable, 0}).total_seconds(), -representable);
  });
}

TEST_F(StandIn, WritesToAFileSystemThatCountsNothing) {
  onTmpfs(makeFolder("disk"), "size=0,nr_inodes=0", [&] {
    EXPECT_EQ(connector::file_common::v1::isWritableDirectory(textAt("disk"), false), 0);
  });
}

TEST_F(StandIn, StreamsHoldOneCloseOnExecDescriptorUntilClosed) {
  const int before = openDescriptors();
  const int lowest = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
  ::close(lowest); // the next one has this number
  ofstream writer(at("file"), REPLACING, SHARE_READ_WRITE);
  EXPECT_EQ(::fcntl(lowest, F_GETFD), FD_CLOEXEC);
  EXPECT_EQ(openDescriptors(), before + 1);
  writer.close();
  EXPECT_TRUE(writer.good());
  EXPECT_EQ(openDescriptors(), before);
}

} // namespace
} // namespace fl::filesystem::test
