#include <connector/ServiceProvider.h>
#include <connector/common/v1/Message.h>

#include <gmock/gmock.h>

#include <utility>
#include <vector>

namespace connector {
namespace {

using common::v1::Fault;
using common::v1::FaultCondition;
using common::v1::Response;
using common::v1::Version;

TEST(FaultCondition, ConstantsHoldTheirOwnNames) {
  const std::vector<std::pair<std::string, std::string>> rows = {
      {FaultCondition::FILE_NOT_FOUND, "FILE_NOT_FOUND"},
      {FaultCondition::FILE_EXISTS, "FILE_EXISTS"},
      {FaultCondition::FILE_ACCESS_DENIED, "FILE_ACCESS_DENIED"},
      {FaultCondition::FILE_IO_GENERIC, "FILE_IO_GENERIC"},
      {FaultCondition::FILE_NAME_NOT_SUPPORTED, "FILE_NAME_NOT_SUPPORTED"},
      {FaultCondition::FILE_TOO_BIG, "FILE_TOO_BIG"},
      {FaultCondition::FOLDER_ACCESS_DENIED, "FOLDER_ACCESS_DENIED"},
      {FaultCondition::FOLDER_NOT_EMPTY, "FOLDER_NOT_EMPTY"},
      {FaultCondition::NOT_A_FOLDER, "NOT_A_FOLDER"},
      {FaultCondition::OVER_DISK_QUOTA, "OVER_DISK_QUOTA"},
      {FaultCondition::RESOURCE_IN_USE, "RESOURCE_IN_USE"},
  };
  for (const auto& [constant, name] : rows) {
    EXPECT_EQ(constant, name);
  }
}

TEST(Response, ShortFormsHaveNoUuid) {
  std::vector<FaultCondition> conditions;
  conditions.emplace_back(FaultCondition::FILE_EXISTS, std::vector<std::u16string>{u"/w", u"a"});
  std::vector<Fault> faults;
  faults.emplace_back("code", "text", std::move(conditions));

  const Response failed(std::move(faults), Version::current());
  EXPECT_EQ(failed.getUuid(), "notset");
  EXPECT_EQ(failed.getApiVersion(), Version(1, 0));
  ASSERT_EQ(failed.getFaults().size(), 1U);
  EXPECT_EQ(failed.getFaults()[0].getCode(), "code");
  EXPECT_EQ(failed.getFaults()[0].getMessage(), "text");
  ASSERT_EQ(failed.getFaults()[0].getConditions().size(), 1U);
  EXPECT_EQ(failed.getFaults()[0].getConditions()[0].getId(), "FILE_EXISTS");
  EXPECT_THAT(failed.getFaults()[0].getConditions()[0].getInfo(),
              ::testing::ElementsAre(u"/w", u"a"));

  const Response succeeded{Version()};
  EXPECT_EQ(succeeded.getUuid(), "notset");
  EXPECT_EQ(succeeded.getApiVersion(), Version(0, 0));
  EXPECT_TRUE(succeeded.getFaults().empty());
}

class Recorder : public Lifecycle {
public:
  std::vector<std::pair<std::string, bool>> hooks; ///< each with what isRunning told meanwhile
  bool refusesToStart = false;

protected:
  void onStart() override {
    hooks.emplace_back("start", isRunning());
    if (refusesToStart) {
      throw std::runtime_error("refused");
    }
  }

  void onStop() override { hooks.emplace_back("stop", isRunning()); }
};

TEST(Lifecycle, LetsRequestsInAfterTheStartHookAndOutBeforeTheStopHook) {
  Recorder service;
  EXPECT_FALSE(service.isRunning());
  service.start();
  EXPECT_TRUE(service.isRunning());
  service.stop();
  EXPECT_FALSE(service.isRunning());
  EXPECT_THAT(service.hooks,
              ::testing::ElementsAre(std::pair("start", false), std::pair("stop", false)));
}

TEST(Lifecycle, StaysStoppedWhenTheStartHookThrows) {
  Recorder service;
  service.refusesToStart = true;
  EXPECT_THROW(service.start(), std::runtime_error);
  EXPECT_FALSE(service.isRunning());
}

} // namespace
} // namespace connector
