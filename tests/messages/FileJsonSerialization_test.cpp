#include <connector/file/v1/FileJsonSerialization.h>

#include <connector/json/MessageRegistry.h>

#include <boost/core/demangle.hpp>
#include <gmock/gmock.h>

#include <cstddef>
#include <memory>
#include <stdexcept>
#include <string>
#include <typeinfo>
#include <vector>

namespace connector::file::v1::test {
namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAreArray;

using Names = std::vector<std::string>;

/// In the order in which they are registered and removed.
const Names& messages() {
  static const Names NAMES = {
      "CreateFile", "CreateFileResponse", "OpenOrCreateFile", "OpenOrCreateFileResponse",
      "OpenFile",   "OpenFileResponse",   "UpdateFile",       "UpdateFileResponse",
      "CloseFile",  "CloseFileResponse",  "RenameFile",       "RenameFileResponse",
      "MoveFile",   "MoveFileResponse",   "DeleteFile",       "DeleteFileResponse",
      "ListFolder", "ListFolderResponse", "OpenWithBrowser"};
  return NAMES;
}

/// Writes down the classes; refuses the registration after the first `capacity`.
class Recorder : public json::JsonSerializer {
public:
  explicit Recorder(std::size_t capacity = 19)
      : capacity(capacity) {}

  void registerConverters(const std::string& name, const std::type_info& type, json::ToJson toJson,
                          json::FromJson fromJson) override {
    if (registered.size() == capacity) {
      throw std::length_error("full");
    }
    const std::unique_ptr<connector::Message> message = fromJson(new Poco::JSON::Object);
    const connector::Message& read = *message;
    EXPECT_EQ(classOf(typeid(read)), classOf(type));
    EXPECT_EQ("connector/v1/" + classOf(type), name);
    EXPECT_FALSE(toJson(message).isNull());
    registered.push_back(classOf(type));
  }

  void removeConverters(const std::type_info& type) override { removed.push_back(classOf(type)); }

  Names registered;
  Names removed;

private:
  static std::string classOf(const std::type_info& type) {
    const std::string name = boost::core::demangle(type.name());
    return name.substr(name.rfind(':') + 1);
  }

  std::size_t capacity;
};

TEST(FileJsonSerialization, RegistersInOrderAndRemovesInTheSameOrder) {
  const auto recorder = std::make_shared<Recorder>();
  {
    const FileJsonSerialization serialization(recorder);
    EXPECT_THAT(recorder->registered, ElementsAreArray(messages()));
    EXPECT_THAT(recorder->removed, IsEmpty());
    EXPECT_EQ(recorder.use_count(), 2);
  }
  EXPECT_THAT(recorder->removed, ElementsAreArray(messages()));
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
  EXPECT_THAT(recorder->removed, ElementsAreArray(messages()));
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

    Names expected = messages();
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
