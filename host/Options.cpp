#include "Options.h"

#include "Diagnostics.h"

#include <array>
#include <charconv>
#include <cstdint>

namespace connector::host {

namespace {

using Command = Options::Command;

template <Command COMMAND>
void setCommand(Options& options, const std::string&) {
  options.command = COMMAND;
}

template <bool Options::*FLAG>
void setFlag(Options& options, const std::string&) {
  options.*FLAG = true;
}

template <std::size_t Options::*NUMBER, std::size_t MOST = SIZE_MAX>
void setNumber(Options& options, const std::string& text) {
  auto& number = options.*NUMBER;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || stop != end || number == 0 || number > MOST) {
    throw UsageError("not a number from 1 to " + std::to_string(MOST) + ": " + text);
  }
}

/// An option or a command.
struct Keyword {
  const char* name;
  void (*set)(Options& options, const std::string& value);
  const char* placeholder = nullptr; ///< for its argument; null if it takes none
};

constexpr std::array OPTIONS{
    Keyword{"--help", setCommand<Command::help>},
    Keyword{"--version", setCommand<Command::version>},
    Keyword{"--max-message", setNumber<&Options::maxMessage>, "BYTES"},
    Keyword{"--max-reply", setNumber<&Options::maxReply>, "BYTES"},
    Keyword{"--jobs", setNumber<&Options::jobs, MAX_JOBS>, "N"},
    Keyword{"--root", [](Options& options, auto& value) { options.roots.push_back(value); }, "DIR"},
    Keyword{"--read-only", setFlag<&Options::readOnly>},
    Keyword{"--contents", setFlag<&Options::contents>},
    Keyword{"--log", setFlag<&Options::log>}};

constexpr std::array COMMANDS{
    Keyword{"serve", setCommand<Command::serve>}, Keyword{"mcp", setCommand<Command::mcp>},
    Keyword{"call", setCommand<Command::call>}, Keyword{"types", setCommand<Command::types>},
    Keyword{"schema", setCommand<Command::schema>}};

/// Returns the row with this name, or throws a UsageError.
template <typename Table>
Keyword find(const Table& table, const std::string& kind, const std::string& name) {
  std::vector<std::string> names;
  for (const auto& row : table) {
    if (name == row.name) {
      return row;
    }
    names.emplace_back(row.name);
  }
  throw UsageError("Unknown " + kind + ": " + name + suggestion(name, names));
}

using Arguments = std::vector<std::string>;

/// Applies the option at `next` and moves past it and its value, which follows "=" or is the next
/// argument.
void takeOption(Options& options, Arguments::const_iterator& next,
                const Arguments::const_iterator& end) {
  const std::string& text = *next++;
  const auto equals = text.find('=');
  const Keyword option = find(OPTIONS, "option", text == "-h" ? "--help" : text.substr(0, equals));
  std::string value;
  if (equals != std::string::npos) {
    value = text.substr(equals + 1);
  } else if (option.placeholder != nullptr && next != end) {
    value = *next++;
  }
  if (option.placeholder == nullptr && !value.empty()) {
    throw UsageError(std::string(option.name) + " takes no value");
  }
  if (option.placeholder != nullptr && value.empty()) {
    throw UsageError(std::string(option.name) + " needs a value: " + option.placeholder);
  }
  try {
    option.set(options, value);
  } catch (const UsageError& e) {
    throw UsageError(std::string(option.name) + ": " + e.what());
  }
}

void takeCommand(Options& options, const Arguments& positionals) {
  const std::string name = positionals.empty() ? "serve" : positionals.front();
  find(COMMANDS, "command", name).set(options, "");
  const bool isCall = options.command == Command::call;
  if (isCall != (positionals.size() > 1)) {
    throw UsageError(name + (isCall ? " takes a message type" : " takes no argument"));
  }
  if (isCall) {
    options.type = positionals[1];
    options.arguments.assign(positionals.begin() + 2, positionals.end());
  }
  // Without this check, forgetting --root would let tools use every file.
  if (options.command == Command::mcp && options.roots.empty()) {
    throw UsageError("mcp needs --root DIR, the directory that its tools may use; --root / "
                     "allows every file");
  }
}

} // namespace

Options parseOptions(const Arguments& arguments) {
  Options options;
  Arguments positionals;
  for (auto next = arguments.begin(); next != arguments.end();) {
    if (next->size() > 1 && next->front() == '-') {
      takeOption(options, next, arguments.end());
    } else {
      positionals.push_back(*next++);
    }
  }
  if (options.command == Command::serve) {
    takeCommand(options, positionals);
  } else if (options.command == Command::help && positionals.size() > 1 &&
             positionals.front() == "call") {
    options.type = positionals[1];
  }
  if (options.jobs == 0) {
    options.jobs = options.command == Command::mcp ? 4 : 1;
  }
  return options;
}

std::string usage() {
  return R"(Usage: connector-host [OPTION...] [serve]
       connector-host [OPTION...] mcp --root DIR...
       connector-host [OPTION...] call TYPE [JSON | KEY=VALUE...]
       connector-host call --help TYPE
       connector-host types | schema

Answers messages of the connector file service.

  serve             answer JSON-RPC 2.0 requests from standard input on standard
                    output until the input ends; this is the default
  mcp               offer each request as a tool of the Model Context Protocol,
                    for AI programs, in the directories given by --root
  call TYPE ...     execute one request and print the response. A TYPE without a
                    slash is a short name: ListFolder for
                    connector/v1/ListFolder. The request is a JSON object, - to
                    read one from standard input, or KEY=VALUE..., for example
                    file.location=a.txt or location=a.txt. contents=@FILE sends
                    the bytes of FILE
  call --help TYPE  print the keys of a request
  types             print the types of requests
  schema            print an OpenRPC document with JSON Schema for all keys

  --root DIR           confine all requests to this directory; may be repeated
  --read-only          refuse every change to files and directories
  --jobs N             execute up to N requests at once (default 1, mcp 4; at
                       most 64)
  --max-message BYTES  refuse longer messages (default 67108864)
  --contents           with call: print only the contents of the file
  --max-reply BYTES    with mcp: refuse longer results (default 8388608)
  --log                write one line per executed request, and the cause of
                       every fault, to standard error
  -h, --help           print this text
  --version            print the version

Input that begins with C has Content-Length headers; other input has one JSON
text per line. In serve, `method` is the message type, `params` the message.

The kernel enforces --root and --read-only (Landlock, Linux 5.19 or later). If
the kernel cannot, connector-host rejects both. Paths outside can be neither
read nor changed, but their existence, kind, size and times are not hidden.

Exit status of call: 0 success, 1 the response has a fault, 2 no response.
)";
}

} // namespace connector::host
