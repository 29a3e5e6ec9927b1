#include "support/Measured.h"
#include "support/ScratchFolder.h"

#include <connector/file/v1/FileServiceImpl.h>
#include <connector/file/v1/FileServiceProviderImpl.h>

#include <gtest/gtest.h>

#include <functional>
#include <future>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <vector>

namespace connector::test {

namespace {

using namespace connector::file::v1;

class ConcurrentRequests : public ScratchFolder {
protected:
  ConcurrentRequests() { provider_->start(); }

  ~ConcurrentRequests() override { provider_->stop(); }

  /// Sends random requests about few paths, so that threads meet, and says how many answers were
  /// not what an answer must be: a response to this request, with at most one fault, which has one
  /// condition that the race or the request explains.
  int misanswered(unsigned seed, int requests) {
    std::mt19937 random(seed);
    int wrong = 0;
    for (int number = 0; number < requests; ++number) {
      const std::string uuid = std::to_string(seed) + "-" + std::to_string(number);
      const auto answer =
          provider_->handle(request(random, uuid), Address{}, std::shared_ptr<Context>()).get();
      const auto* const response = dynamic_cast<const common::v1::Response*>(answer.get());
      wrong += response != nullptr && isWellFormed(*response, uuid) ? 0 : 1;
    }
    return wrong;
  }

private:
  static bool isWellFormed(const common::v1::Response& response, const std::string& uuid) {
    static const std::set<std::string> expected{
        "FILE_ACCESS_DENIED",   "FILE_NOT_FOUND",   "FILE_EXISTS",  "FILE_IO_GENERIC",
        "FOLDER_ACCESS_DENIED", "FOLDER_NOT_EMPTY", "NOT_A_FOLDER", "FILE_NAME_NOT_SUPPORTED"};
    const auto& faults = response.getFaults();
    if (response.getUuid() != uuid || faults.size() > 1) {
      return false;
    }
    return faults.empty() || (faults[0].getConditions().size() == 1 &&
                              expected.count(faults[0].getConditions()[0].getId()) == 1);
  }

  std::unique_ptr<connector::Message> request(std::mt19937& random, const std::string& uuid) const {
    constexpr common::v1::Version version(1, 0);
    std::u16string path = textAt("item-" + std::to_string(random() % 4));
    if (random() % 2 == 0) {
      path += u"/inner-" + std::u16string(1, static_cast<char16_t>(u'0' + random() % 2));
    }
    std::u16string other = textAt("item-" + std::to_string(random() % 4));
    const auto file = [&path] {
      return File(FileInfo(path, false), DataBuffer(std::string_view("contents")));
    };
    switch (random() % 9) {
    case 0:
      return std::make_unique<CreateFile>(uuid, file(), random() % 2 == 0, version);
    case 1:
      return std::make_unique<OpenOrCreateFile>(uuid, std::move(path), version);
    case 2:
      return std::make_unique<OpenFile>(uuid, std::move(path), version);
    case 3:
      return std::make_unique<UpdateFile>(uuid, file(), version);
    case 4:
      return std::make_unique<CloseFile>(uuid, file(), random() % 2 == 0, version);
    case 5:
      return std::make_unique<RenameFile>(uuid, std::move(path), std::move(other), version);
    case 6:
      return std::make_unique<MoveFile>(uuid, std::move(path), std::move(other), version);
    case 7:
      return std::make_unique<DeleteFile>(uuid, std::move(path), version);
    default:
      return std::make_unique<ListFolder>(uuid, std::move(path), version);
    }
  }

  std::shared_ptr<FileServiceProviderImpl> provider_ =
      std::make_shared<FileServiceProviderImpl>(std::make_shared<FileServiceImpl>());
};

} // namespace

TEST_F(ConcurrentRequests, AreEachAnsweredRightly) {
  constexpr int threads = 8;
  constexpr int requestsEach = 10000;
  std::vector<std::future<int>> running;
  for (unsigned seed = 1; seed <= threads; ++seed) {
    running.push_back(
        std::async(std::launch::async, [this, seed] { return misanswered(seed, requestsEach); }));
  }
  for (auto& thread : running) {
    EXPECT_EQ(thread.get(), 0);
  }
  printMeasured(std::to_string(threads * requestsEach) + " requests from " +
                std::to_string(threads) + " threads at once, each answered");
}

} // namespace connector::test
