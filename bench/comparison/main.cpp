// Times each operation on files in a scratch directory, with each service in turn.
//
// Usage: comparison DIRECTORY [--node SCRIPT] [OPTIONS of bench/compare]

#include "../Timing.h"
#include "Cores.h"
#include "Disk.h"
#include "Server.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <functional>
#include <iomanip>
#include <iostream>
#include <memory>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace connector::bench;

constexpr std::size_t SMALL = 4096;
constexpr std::size_t BIG = 19999999;

struct Operation {
  const char* name;
  Verb verb;
  std::size_t files;
  std::size_t size; ///< of each file, or the number of the directory's entries
  bool isText;
  double sftpTarget; ///< the least quotient of the other service's time and ours
  double nodeTarget;
};

constexpr std::array OPERATIONS{
    Operation{"open and read 4 KiB", Verb::open, 300, SMALL, true, 3.0, 8.0},
    Operation{"open and read 4 KiB (SFTP in two)", Verb::openTogether, 300, SMALL, true, 1.7, 8.0},
    Operation{"list 10,000 entries", Verb::list, 1, 10000, true, 1.2, 5.0},
    Operation{"read 19,999,999 bytes of text", Verb::open, 1, BIG, true, 1.0, 8.0},
    Operation{"read 19,999,999 bytes, not text", Verb::open, 1, BIG, false, 0.9, 8.0},
    Operation{"create 4 KiB", Verb::create, 300, SMALL, true, 2.0, 3.5},
    Operation{"update 4 KiB", Verb::update, 300, SMALL, true, 2.5, 3.5},
    Operation{"rename", Verb::rename, 300, SMALL, true, 1.1, 3.5},
    Operation{"delete", Verb::remove, 300, SMALL, true, 1.2, 3.5},
    Operation{"move 19,999,999 bytes", Verb::move, 1, BIG, true, 1.2, 3.5},
    Operation{"create 19,999,999 bytes, not text", Verb::create, 1, BIG, false, 0.5, 3.5},
};

/// Only for our host: the quotient of the times of `much` and `little` per byte or entry, and its
/// limit.
struct Growth {
  const char* name;
  Operation little;
  Operation much;
  double target;
};

constexpr std::array GROWTHS{
    Growth{"list, from 100 to 100,000 entries",
           {"100 entries", Verb::list, 20, 100, true, 0, 0},
           {"100,000 entries", Verb::list, 1, 100000, true, 0, 0},
           1.3},
    Growth{"read, from 1 MB to 19,999,999 bytes",
           {"1 MB", Verb::open, 5, 1000000, true, 0, 0},
           {"19,999,999 bytes", Verb::open, 1, BIG, true, 0, 0},
           1.3},
};

struct Options {
  std::filesystem::path directory;
  std::optional<std::string> nodeScript;
  int rounds = 21;
  bool anyCore = false; ///< the system places the client and the services
  Waiting waiting = Waiting::asleep;
  std::string filter;
};

/// Ours, sftp-server and, if available, Node.js.
using Servers = std::vector<Server*>;

void require(bool isRight, const char* failure) {
  if (!isRight) {
    throw WrongReply(failure);
  }
}

/// The rounds of one server with a batch.
struct Rounds {
  Rounds(Server& its, const Batch& given)
      : server(&its)
      , batch(&given)
      , work(its.prepare(given)) {}

  Server* server;
  const Batch* batch;
  std::function<void()> work;
  std::vector<double> times; ///< seconds per file
};

void checkReply(const Server& server, const Batch& batch) {
  const Decoded decoded = server.decode(batch);
  const bool isOpen = batch.verb == Verb::open || batch.verb == Verb::openTogether;
  require(decoded.contents == (isOpen ? batch.contents : ""), "replies with other contents");
  require(decoded.sizes == batch.entries, "replies with other entries");
  require(decoded.size == (batch.verb == Verb::remove ? 0 : batch.contents.size()),
          "replies with another size");
}

void runRound(Rounds& rounds, const std::filesystem::path& directory) {
  prepareDisk(*rounds.batch, directory);
  const double seconds = timeOf(rounds.work);
  require(isDone(*rounds.batch), "leaves other files than it should");
  rounds.times.push_back(seconds / static_cast<double>(rounds.batch->jobs.size()));
}

/// Returns the median time of each element. The first round checks the replies and warms up.
std::vector<double> measure(std::vector<Rounds> all, const Options& options) {
  for (int round = 0; round <= options.rounds; ++round) {
    for (Rounds& rounds : all) {
      try {
        runRound(rounds, options.directory);
        if (round == 0) {
          checkReply(*rounds.server, *rounds.batch);
          rounds.times.clear();
        }
      } catch (const std::exception& error) {
        throw std::runtime_error(std::string(rounds.server->name()) + ": " + error.what());
      }
    }
  }
  std::vector<double> medians(all.size());
  std::transform(all.begin(), all.end(), medians.begin(),
                 [](const Rounds& rounds) { return median(rounds.times); });
  return medians;
}

std::string fixed(double value, int digits) {
  std::ostringstream text;
  text << std::fixed << std::setprecision(digits) << value;
  return text.str();
}

std::string timeText(double seconds) {
  constexpr double microsecond = 1e-6;
  constexpr double millisecond = 1e-3;
  return seconds < millisecond ? fixed(seconds / microsecond, 1) + " us"
                               : fixed(seconds / millisecond, 2) + " ms";
}

std::string ratioText(double ratio, double target) {
  return fixed(ratio, 2) + " (>= " + fixed(target, 1) + ")" + (ratio < target ? " below" : "");
}

void printRow(const std::string& name, const std::string& ours, const std::string& sftp,
              const std::string& node) {
  std::cout << std::left << std::setw(36) << name << std::right << std::setw(10) << ours << "   "
            << std::left << std::setw(23) << sftp << node << std::endl;
}

Batch makeBatch(const Operation& operation, const Options& options) {
  return makeBatch(operation.verb, options.directory, operation.files, operation.size,
                   operation.isText);
}

bool isWanted(const char* name, const Options& options) {
  return std::string(name).find(options.filter) != std::string::npos;
}

void compareAll(const Servers& servers, const Options& options) {
  printRow("", "ours", "sftp-server / ours", servers.size() > 2 ? "Node.js / ours" : "");
  for (const Operation& operation : OPERATIONS) {
    if (!isWanted(operation.name, options)) {
      continue;
    }
    const Batch batch = makeBatch(operation, options);
    std::vector<Rounds> all;
    all.reserve(servers.size());
    for (Server* const server : servers) {
      all.emplace_back(*server, batch);
    }
    const auto times = measure(std::move(all), options);
    printRow(operation.name, timeText(times[0]),
             ratioText(times[1] / times[0], operation.sftpTarget),
             times.size() > 2 ? ratioText(times[2] / times[0], operation.nodeTarget) : "");
  }
}

void measureGrowth(Server& ours, const Options& options) {
  for (const Growth& growth : GROWTHS) {
    if (!isWanted(growth.name, options)) {
      continue;
    }
    const Batch little = makeBatch(growth.little, options);
    const Batch much = makeBatch(growth.much, options);
    const auto times = measure({Rounds(ours, little), Rounds(ours, much)}, options);
    const double ratio = times[1] / static_cast<double>(growth.much.size) /
                         (times[0] / static_cast<double>(growth.little.size));
    std::cout << "growth: " << growth.name << ": " << fixed(ratio, 2)
              << " (<= " << fixed(growth.target, 1) << ")"
              << (ratio > growth.target ? " above" : "") << '\n';
  }
}

Options parse(const std::vector<std::string>& words) {
  Options options;
  options.directory = std::filesystem::path(words.at(0)) / "files";
  for (std::size_t at = 1; at < words.size(); ++at) {
    if (words[at] == "--rounds") {
      options.rounds = std::max(1, std::stoi(words.at(++at)));
    } else if (words[at] == "--node") {
      options.nodeScript = words.at(++at);
    } else if (words[at] == "--any-core") {
      options.anyCore = true;
    } else if (words[at] == "--awake") {
      options.waiting = Waiting::awake;
    } else if (words[at].rfind("--", 0) == 0) {
      throw std::invalid_argument(words[at]);
    } else {
      options.filter = words[at];
    }
  }
  if (options.anyCore && options.waiting == Waiting::awake) {
    throw std::invalid_argument("--awake keeps a core busy that --any-core shares");
  }
  return options;
}

std::optional<Options> parseOrExplain(const std::vector<std::string>& words) {
  try {
    return parse(words);
  } catch (const std::logic_error&) { // a value is missing or not a number, or an option is unknown
    std::cerr << "Usage: bench/compare [--rounds N] [--any-core | --awake] "
                 "[PART_OF_AN_OPERATION'S_NAME]\n";
    return std::nullopt;
  }
}

} // namespace

int main(int argc, char** argv) {
  try {
    static_cast<void>(std::signal(SIGPIPE, SIG_IGN)); // writing to an ended service throws
    const auto options = parseOrExplain({argv + 1, argv + argc});
    if (!options) {
      return 2;
    }
    const Cores cores;
    if (!options->anyCore) {
      cores.useServiceCores();
    }
    const auto ours = startConnectorHost(options->waiting);
    const auto sftp = startSftpServer(options->waiting);
    const auto node =
        options->nodeScript ? startNodeService(*options->nodeScript, options->waiting) : nullptr;
    if (!options->anyCore) {
      cores.useClientCore();
    }
    Servers servers{ours.get(), sftp.get()};
    if (node) {
      servers.push_back(node.get());
    }
    compareAll(servers, *options);
    measureGrowth(*ours, *options);
    return EXIT_SUCCESS;
  } catch (const std::exception& error) {
    std::cerr << "comparison: " << error.what() << '\n';
    return EXIT_FAILURE;
  }
}
