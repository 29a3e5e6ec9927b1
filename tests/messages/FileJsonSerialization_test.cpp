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

/// Records classes; refuses the registration after the first `capacity`.
struct Recorder : json::JsonSerializer {
  void registerConverters(const std::string& /*name*/, const std::type_info& type,
                          json::ToJson /*toJson*/, json::FromJson /*fromJson*/) override {
    if (registered.size() == capacity) {
      throw std::length_error("full");
    }
    registered.emplace_back(type);
  }

  void removeConverters(const std::type_info& type) override { removed.emplace_back(type); }

  std::size_t capacity = 0;
  std::vector<std::type_index> registered;
  std::vector<std::type_index> removed;
};

TEST(FileJsonSerialization, RemovesAllThatItRegisteredEvenIfARegistrationIsRefused) {
  for (const std::size_t capacity : {0U, 1U, 9U, 1000U}) {
    const auto recorder = std::make_shared<Recorder>();
    recorder->capacity = capacity;
    try {
      const FileJsonSerialization serialization(recorder);
      EXPECT_THAT(recorder->removed, IsEmpty());
      EXPECT_LT(recorder->registered.size(), capacity);
    } catch (const std::length_error&) {
      EXPECT_EQ(recorder->registered.size(), capacity);
    }
    EXPECT_THAT(recorder->removed, UnorderedElementsAreArray(recorder->registered));
  }
  EXPECT_THROW(FileJsonSerialization(nullptr), std::invalid_argument);
}

} // namespace
} // namespace connector::file::v1::test
