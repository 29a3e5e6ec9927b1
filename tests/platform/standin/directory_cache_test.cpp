#include "platform/Failure.h"
#include "support/ScratchFolder.h"

#include <fl/filesystem/operations.h>
#include <fl/i18n/directory_iterator.h>

#include <cerrno>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>

namespace fl::filesystem::test {
namespace {

using detail::upath_directory_iterator_impl;

/// While a directory with a file in it is iterated over, another one with a directory of the same
/// name takes its path.
class DirectoryCache : public connector::test::ScratchFolder {
protected:
  void SetUp() override {
    writeFile("iterated/name");
    makeFolder("iterated/inner");
  }

  void exchange() {
    std::filesystem::rename(at("iterated"), at("elsewhere"));
    makeFolder("iterated/name");
  }

  [[nodiscard]] static bool isFileAt(const std::u16string& path) {
    const bool isFile = file_status::is_regular(status(path));
    EXPECT_TRUE(exists(path));
    EXPECT_TRUE(access(path, 2));
    return isFile;
  }

  const std::u16string iterated = textAt("iterated");
  const std::u16string entry = textAt("iterated/name");
};

TEST_F(DirectoryCache, LooksUpEntriesInTheDirectoryThatWasOpened) {
  for (const char16_t* const ending : {u"", u"/", u"//"}) {
    const std::u16string path = iterated + ending;
    upath_directory_iterator_impl entries(path, 0, false);
    exchange();
    EXPECT_TRUE(isFileAt(path + (path == iterated ? u"/name" : u"name")));
    std::thread([this] { EXPECT_FALSE(isFileAt(entry)); }).join();
    for (const char16_t* const other : {u"/name/", u"/name/.", u"/../iterated/name"}) {
      EXPECT_FALSE(isFileAt(iterated + other)) << std::filesystem::path(other);
    }
    EXPECT_FALSE(exists(textAt("iterated-name")));
    const std::u16string unpaired = iterated + u"/\xD800";
    EXPECT_EQ(failureOf([&] { static_cast<void>(exists(unpaired)); }),
              failure<FileNameConversionFailure>(EILSEQ, unpaired));

    while (entries.is_open()) {
      entries.increment();
    }
    EXPECT_FALSE(isFileAt(entry));
    std::filesystem::remove_all(at("iterated"));
    std::filesystem::rename(at("elsewhere"), at("iterated"));
  }
}

TEST_F(DirectoryCache, EndsWhenAnotherThreadEndsTheIteration) {
  auto entries = std::make_unique<upath_directory_iterator_impl>(iterated, 0, false);
  exchange();
  std::thread([&] { entries.reset(); }).join();
  EXPECT_FALSE(isFileAt(entry));
}

} // namespace
} // namespace fl::filesystem::test
