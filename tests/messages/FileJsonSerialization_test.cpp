#include <connector/file/v1/FileJsonSerialization.h>

#include <gmock/gmock.h>

#include <cstddef>
#include <memory>
#include <stdexcept>
#include <string>
#include <typeindex>
#include <vector>

namespace connector::file::v1::test {
namespace {

using ::testing::IsEmpty;
using ::testing::UnorderedElementsAreArray;

/// Writes down names and classes; refuses the registration after the first `capacity`.
struct Recorder : json::JsonSerializer {
  void registerConverters(const std::string& name, const std::type_info& type,
                          json::ToJson /*toJson*/, json::FromJson /*fromJson*/) override {
    if (names.size() == capacity) {
      throw std::length_error("full");
    }
    names.push_back(name.substr(name.rfind('/') + 1));
    registered.emplace_back(type);
  }

  void removeConverters(const std::type_info& type) override { removed.emplace_back(type); }

  std::size_t capacity = 19;
  std::vector<std::string> names;
  std::vector<std::type_index> registered;
  std::vector<std::type_index> removed;
};

TEST(FileJsonSerialization, RegistersInOrderAndRemovesInTheSameOrder) {
  const std::vector<std::string> order = {
      "CreateFile", "CreateFileResponse", "OpenOrCreateFile", "OpenOrCreateFileResponse",
      "OpenFile",   "OpenFileResponse",   "UpdateFile",       "UpdateFileResponse",
      "CloseFile",  "CloseFileResponse",  "RenameFile",       "RenameFileResponse",
      "MoveFile",   "MoveFileResponse",   "DeleteFile",       "DeleteFileResponse",
      "ListFolder", "ListFolderResponse", "OpenWithBrowser"};
  const auto recorder = std::make_shared<Recorder>();
  {
    const FileJsonSerialization serialization(recorder);
    EXPECT_EQ(recorder->names, order);
  }
  EXPECT_EQ(recorder->removed, recorder->registered);
}

TEST(FileJsonSerialization, ACopyRegistersNothingAndItsEndRemovesAll) {
  const auto first = std::make_shared<Recorder>();
  const auto second = std::make_shared<Recorder>();
  {
    const FileJsonSerialization source(first);
    const FileJsonSerialization copy(source); // NOLINT(performance-*): its life is the test
    FileJsonSerialization target(second);
    target = source;
  }
  EXPECT_EQ(first->registered.size(), 19U);
  EXPECT_EQ(first->removed.size(), 3 * 19U);
  EXPECT_THAT(second->removed, IsEmpty()) << "An assignment only exchanges the serializer.";
}

TEST(FileJsonSerialization, TakesBackWhatItRegisteredWhenARegistrationIsRefused) {
  for (const std::size_t capacity : {0U, 1U, 18U}) {
    const auto recorder = std::make_shared<Recorder>();
    recorder->capacity = capacity;
    EXPECT_THROW(FileJsonSerialization{recorder}, std::length_error);
    EXPECT_THAT(recorder->removed, UnorderedElementsAreArray(recorder->registered));
  }
}

} // namespace
} // namespace connector::file::v1::test
