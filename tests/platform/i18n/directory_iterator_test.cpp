#include "support/ScratchFolder.h"

#include <fl/filesystem/exceptions.h>
#include <fl/filesystem/operations.h>
#include <fl/i18n/directory_iterator.h>

#include <filesystem>
#include <memory>
#include <string>
#include <thread>

namespace fl::filesystem {
namespace {

using detail::upath_directory_iterator_impl;

/// A folder that is walked, with a file in it, is exchanged for one with a folder of the same name.
class DirectoryIterator : public connector::test::ScratchFolder {
protected:
  void SetUp() override {
    writeFile("walked/name", "walked");
    makeFolder("walked/inner/name");
  }

  void exchange() {
    std::filesystem::rename(at("walked"), at("elsewhere"));
    makeFolder("walked/name");
  }

  [[nodiscard]] static bool isFileAt(const std::u16string& path) {
    const bool isFile = file_status::is_regular(status(path));
    EXPECT_TRUE(exists(path));
    EXPECT_TRUE(access(path, 2));
    return isFile;
  }

  const std::u16string walked = textAt("walked");
  const std::u16string entry = textAt("walked/name");
};

TEST_F(DirectoryIterator, WhileItWalksItsEntriesAreThoseOfTheFolderThatItOpened) {
  for (const char16_t* const ending : {u"", u"/", u"//"}) {
    const std::u16string path = walked + ending;
    upath_directory_iterator_impl entries(path, 0, false);
    exchange();
    EXPECT_TRUE(isFileAt(path + (path == walked ? u"/name" : u"name")));
    std::thread([this] { EXPECT_FALSE(isFileAt(entry)); }).join();
    for (const char16_t* const other : {u"/name/", u"/name/.", u"/../walked/name"}) {
      EXPECT_FALSE(isFileAt(walked + other)) << std::filesystem::path(other);
    }
    EXPECT_FALSE(exists(textAt("walked-name")));

    while (entries.is_open()) {
      entries.increment();
    }
    EXPECT_FALSE(isFileAt(entry));
    std::filesystem::remove_all(at("walked"));
    std::filesystem::rename(at("elsewhere"), at("walked"));
  }
}

TEST_F(DirectoryIterator, OfSeveralWalksTheLastStepCounts) {
  upath_directory_iterator_impl outer(walked, 0, false);
  upath_directory_iterator_impl inner(textAt("walked/inner"), 0, false);
  exchange();
  EXPECT_FALSE(isFileAt(entry));
  outer.increment();
  ASSERT_TRUE(outer.is_open());
  EXPECT_TRUE(isFileAt(entry));
}

TEST_F(DirectoryIterator, AWalkThatAnotherThreadEndsIsOver) {
  auto entries = std::make_unique<upath_directory_iterator_impl>(walked, 0, false);
  exchange();
  std::thread([&] { entries.reset(); }).join();
  EXPECT_FALSE(isFileAt(entry));
}

// The bytes of the name alone are looked up, but what is told is the path.
TEST_F(DirectoryIterator, RefusalsTellTheWholePath) {
  const upath_directory_iterator_impl entries(walked, 0, false);
  const std::u16string unpaired = walked + u"/\xD800";
  try {
    static_cast<void>(exists(unpaired));
    FAIL();
  } catch (const FileNameConversionFailure& failure) {
    EXPECT_EQ(failure.get_path(), unpaired);
  }
}

} // namespace
} // namespace fl::filesystem
