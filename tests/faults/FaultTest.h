#pragma once

#include "support/HostClient.h"
#include "support/ScratchFolder.h"

#include <Poco/JSON/Array.h>
#include <Poco/JSON/Object.h>
#include <Poco/RegularExpression.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <stdexcept>
#include <string>

namespace connector::test {

/// The result of a request.
struct Outcome {
  std::string condition;       // of the fault, empty without one
  std::string response;        // without values that the outcome does not determine
  int descriptorsLeftOpen = 0; // negative when the host closed one that it had before
};

/// Checks that hold for any request in which anything fails.
class FaultTest : public ScratchFolder {
protected:
  /// Sends the request between two others, which show the host's open descriptors and that it still
  /// serves. Throws for a JSON-RPC error and for more than one fault or condition.
  static Outcome outcomeOf(HostClient& host, const std::string& type, const std::string& params) {
    const int before = openDescriptors(host);
    const auto result = resultOf(host.ask(type, params));
    const auto faults = result->getArray("messageFaults");
    Outcome outcome;
    outcome.response = withoutChance(textOf(result));
    if (faults->size() > 0) {
      const auto conditions = faults->getObject(0)->getArray("faultConditions");
      if (faults->size() > 1 || conditions->size() != 1) {
        throw std::runtime_error("not one fault with one condition: " + outcome.response);
      }
      outcome.condition = conditions->getObject(0)->getValue<std::string>("faultId");
    }
    outcome.descriptorsLeftOpen = openDescriptors(host) - before;
    return outcome;
  }

  /// After a failure every file is whole at its old or new path, nothing else has appeared, and
  /// only the request's own contents may be there in part. `after` is the disk after a success.
  static void expectNothingLost(const Disk& before, const Disk& after, const Disk& now) {
    for (const auto& [path, contents] : now) {
      EXPECT_TRUE(holdsAt(before, path, contents) || holdsAt(after, path, contents) ||
                  isPartOfNewContents(before, after, path, contents))
          << path << " was left behind with " << contents.size() << " bytes";
    }
    for (const auto& [path, contents] : before) {
      EXPECT_TRUE(now.count(path) > 0 || after.count(path) == 0) << path << " is gone";
      EXPECT_TRUE(holds(now, contents) || !holds(after, contents)) << path << " lost its contents";
    }
  }

private:
  static Poco::JSON::Object::Ptr resultOf(const Poco::JSON::Object::Ptr& answer) {
    auto result = answer->getObject("result");
    if (result.isNull()) {
      throw std::runtime_error("no result: " + textOf(answer));
    }
    return result;
  }

  static int openDescriptors(HostClient& host) {
    const auto listed = resultOf(host.ask("ListFolder", R"({"path":"/proc/self/fd"})"));
    if (listed->getArray("messageFaults")->size() > 0) {
      throw std::runtime_error("the next request fails: " + textOf(listed));
    }
    return static_cast<int>(listed->getArray("folderContents")->size());
  }

  /// A file whose permissions or existence cannot be determined may be described either way.
  static std::string withoutChance(std::string response) {
    const Poco::RegularExpression chance(
        R"rx("(modified":\d+|(canWrite|deleted)":(true|false)))rx");
    chance.subst(response, "", Poco::RegularExpression::RE_GLOBAL);
    return response;
  }

  static bool holds(const Disk& disk, const std::string& contents) {
    return std::any_of(disk.begin(), disk.end(),
                       [&](const auto& entry) { return entry.second == contents; });
  }

  static bool holdsAt(const Disk& disk, const std::string& path, const std::string& contents) {
    const auto entry = disk.find(path);
    return entry != disk.end() && entry->second == contents;
  }

  static bool isPartOfNewContents(const Disk& before, const Disk& after, const std::string& path,
                                  const std::string& contents) {
    const auto entry = after.find(path);
    return entry != after.end() && !holds(before, entry->second) &&
           entry->second.compare(0, contents.size(), contents) == 0;
  }
};

} // namespace connector::test
