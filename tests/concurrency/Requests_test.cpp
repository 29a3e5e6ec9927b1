#include "support/JsonText.h"
#include "support/Requests.h"
#include "support/ScratchFolder.h"

#include <connector/file/v1/FileJsonSerialization.h>
#include <connector/file/v1/FileServiceImpl.h>
#include <connector/file/v1/FileServiceProviderImpl.h>

#include <connector/json/MessageRegistry.h>

#include <gtest/gtest.h>

#include <future>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace connector::test {

namespace {

using namespace connector::file::v1;

class ConcurrentRequests : public ScratchFolder {
protected:
  ConcurrentRequests() { provider_->start(); }

  ~ConcurrentRequests() override { provider_->stop(); }

  /// Sends random requests about few paths, so that threads meet. The number of those whose
  /// response is wrong.
  int countWrong(unsigned seed, int count) {
    std::mt19937 random(seed);
    int wrong = 0;
    for (int number = 0; number < count; ++number) {
      const std::string uuid = std::to_string(seed) + "-" + std::to_string(number);
      const Request& request = REQUESTS.at(random() % REQUESTS.size());
      auto params = parseObject(request.with(somePath(random), somePath(random)));
      params->set("uuid", uuid);
      auto message = registry_->fromJson(std::string("connector/v1/") + request.type, params);
      const auto response = provider_->handle(std::move(message), Address{}, nullptr).get();
      wrong += isWellFormed(*registry_->toJson(response), uuid) ? 0 : 1;
    }
    return wrong;
  }

private:
  /// Whether it answers this request, with at most one fault, which is not one of the disk.
  static bool isWellFormed(const Poco::JSON::Object& response, const std::string& uuid) {
    return response.getValue<std::string>("uuid") == uuid &&
           response.getArray("messageFaults")->size() <= 1 &&
           textOf(response).find("OVER_DISK_QUOTA") == std::string::npos;
  }

  [[nodiscard]] std::string somePath(std::mt19937& random) const {
    const std::vector<std::string> inner{"", "", "/a.txt", "/sub"};
    return at("item-" + std::to_string(random() % 4) + inner[random() % 4]).string();
  }

  std::shared_ptr<connector::json::MessageRegistry> registry_ =
      std::make_shared<connector::json::MessageRegistry>();
  FileJsonSerialization serialization_{registry_};
  std::shared_ptr<FileServiceProviderImpl> provider_ =
      std::make_shared<FileServiceProviderImpl>(std::make_shared<FileServiceImpl>());
};

} // namespace

TEST_F(ConcurrentRequests, AreEachAnsweredRightly) {
  constexpr int threads = 8;
  constexpr int requestsEach = 5000;
  std::vector<std::future<int>> running;
  for (unsigned seed = 1; seed <= threads; ++seed) {
    running.push_back(
        std::async(std::launch::async, [this, seed] { return countWrong(seed, requestsEach); }));
  }
  for (auto& thread : running) {
    EXPECT_EQ(thread.get(), 0);
  }
}

} // namespace connector::test
