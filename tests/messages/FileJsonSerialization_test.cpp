#include <connector/file/v1/FileJsonSerialization.h>
#include <connector/file/v1/Messages.h>

#include <connector/json/MessageRegistry.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <string>
#include <typeindex>
#include <utility>
#include <vector>

namespace connector::file::v1::test {
namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAreArray;

using Object = Poco::JSON::Object;
using Entry = std::pair<std::string, std::type_index>;

/// In the order in which they are registered and removed.
const std::vector<Entry>& entries() {
  static const std::vector<Entry> ENTRIES = {
      {"connector/v1/CreateFile", typeid(CreateFile)},
      {"connector/v1/CreateFileResponse", typeid(CreateFileResponse)},
      {"connector/v1/OpenOrCreateFile", typeid(OpenOrCreateFile)},
      {"connector/v1/OpenOrCreateFileResponse", typeid(OpenOrCreateFileResponse)},
      {"connector/v1/OpenFile", typeid(OpenFile)},
      {"connector/v1/OpenFileResponse", typeid(OpenFileResponse)},
      {"connector/v1/UpdateFile", typeid(UpdateFile)},
      {"connector/v1/UpdateFileResponse", typeid(UpdateFileResponse)},
      {"connector/v1/CloseFile", typeid(CloseFile)},
      {"connector/v1/CloseFileResponse", typeid(CloseFileResponse)},
      {"connector/v1/RenameFile", typeid(RenameFile)},
      {"connector/v1/RenameFileResponse", typeid(RenameFileResponse)},
      {"connector/v1/MoveFile", typeid(MoveFile)},
      {"connector/v1/MoveFileResponse", typeid(MoveFileResponse)},
      {"connector/v1/DeleteFile", typeid(DeleteFile)},
      {"connector/v1/DeleteFileResponse", typeid(DeleteFileResponse)},
      {"connector/v1/ListFolder", typeid(ListFolder)},
      {"connector/v1/ListFolderResponse", typeid(ListFolderResponse)},
      {"connector/v1/OpenWithBrowser", typeid(OpenWithBrowser)},
  };
  return ENTRIES;
}

std::vector<std::type_index> types() {
  std::vector<std::type_index> result;
  for (const auto& [name, type] : entries()) {
    result.push_back(type);
  }
  return result;
}

/// Writes down what it is told; refuses the registration after the first `capacity`.
class Recorder : public json::JsonSerializer {
public:
  explicit Recorder(std::size_t capacity = 19)
      : capacity(capacity) {}

  void registerConverters(const std::string& name, const std::type_info& type, json::ToJson toJson,
                          json::FromJson fromJson) override {
    if (registered.size() == capacity) {
      throw std::length_error("full");
    }
    const std::unique_ptr<connector::Message> message = fromJson(new Object);
    const connector::Message& read = *message;
    EXPECT_EQ(std::type_index(typeid(read)), std::type_index(type));
    EXPECT_FALSE(toJson(message).isNull());
    registered.emplace_back(name, type);
  }

  void removeConverters(const std::type_info& type) override { removed.emplace_back(type); }

  std::vector<Entry> registered;
  std::vector<std::type_index> removed;

private:
  std::size_t capacity;
};

TEST(FileJsonSerialization, RegistersInOrderAndRemovesInTheSameOrder) {
  const auto recorder = std::make_shared<Recorder>();
  {
    const FileJsonSerialization serialization(recorder);
    EXPECT_THAT(recorder->registered, ElementsAreArray(entries()));
    EXPECT_THAT(recorder->removed, IsEmpty());
    EXPECT_EQ(recorder.use_count(), 2);
  }
  EXPECT_THAT(recorder->removed, ElementsAreArray(types()));
  EXPECT_EQ(recorder.use_count(), 1);
}

TEST(FileJsonSerialization, ACopyRegistersNothingAndItsEndRemovesAll) {
  const auto recorder = std::make_shared<Recorder>();
  const FileJsonSerialization original(recorder);
  {
    const FileJsonSerialization copy(original); // NOLINT(performance-*): its life is the test
    EXPECT_EQ(recorder->registered.size(), 19U);
    EXPECT_EQ(recorder.use_count(), 3);
  }
  EXPECT_THAT(recorder->removed, ElementsAreArray(types()));
}

TEST(FileJsonSerialization, AnAssignmentOnlyExchangesTheSerializer) {
  const auto first = std::make_shared<Recorder>();
  const auto second = std::make_shared<Recorder>();
  {
    const FileJsonSerialization source(first);
    FileJsonSerialization target(second);
    target = source;
    EXPECT_EQ(first->registered.size(), 19U);
    EXPECT_EQ(first.use_count(), 3);
    EXPECT_EQ(second.use_count(), 1);
  }
  EXPECT_EQ(first->removed.size(), 38U);
  EXPECT_THAT(second->removed, IsEmpty());
}

TEST(FileJsonSerialization, TakesBackWhatItRegisteredWhenARegistrationIsRefused) {
  for (const std::size_t capacity : {0U, 1U, 7U, 18U}) {
    const auto recorder = std::make_shared<Recorder>(capacity);
    EXPECT_THROW(FileJsonSerialization{recorder}, std::length_error);

    std::vector<std::type_index> expected = types();
    expected.erase(expected.begin() + static_cast<std::ptrdiff_t>(capacity), expected.end());
    EXPECT_THAT(recorder->removed, UnorderedElementsAreArray(expected));
    EXPECT_EQ(recorder.use_count(), 1);
  }
}

TEST(FileJsonSerialization, LeavesTheConvertersOfOthersAloneWhenItIsRefused) {
  const auto registry = std::make_shared<json::MessageRegistry>();

  struct Foreign : connector::Message {};

  registry->registerConverters("connector/v1/MoveFile", typeid(Foreign), {}, {});

  EXPECT_THROW(FileJsonSerialization{registry}, std::invalid_argument);
  EXPECT_THAT(registry->names(), ElementsAre("connector/v1/MoveFile"));
}

} // namespace
} // namespace connector::file::v1::test
