#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <vector>

namespace connector::host {

/// The largest value of --jobs.
constexpr std::size_t MAX_JOBS = 64;

/// The parsed command line.
struct Options {
  enum class Command { serve, mcp, call, types, schema, help, version };

  Command command = Command::serve;
  std::size_t maxMessage = 64ULL * 1024 * 1024; ///< bytes
  std::size_t maxReply = 8ULL * 1024 * 1024;    ///< bytes of a result of `mcp`
  std::size_t jobs = 0; ///< requests executed at once; parseOptions replaces 0
  bool log = false;
  std::vector<std::string> roots; ///< directories that requests may use; if empty, all
  bool readOnly = false;
  bool contents = false;              ///< of `call`: print only the contents of the file
  std::string type;                   ///< the message type for `call` or its help; may be short
  std::vector<std::string> arguments; ///< of `call`: one JSON object, "-", or KEY=VALUE...
};

/// The reason why a command line is invalid.
class UsageError : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// `arguments` are those after the program's name.
Options parseOptions(const std::vector<std::string>& arguments);

/// The text of --help.
std::string usage();

} // namespace connector::host
