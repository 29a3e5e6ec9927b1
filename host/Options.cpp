#include "Options.h"

#include "Suggestion.h"

#include <Poco/Exception.h>
#include <Poco/Util/Option.h>
#include <Poco/Util/OptionException.h>
#include <Poco/Util/OptionProcessor.h>
#include <Poco/Util/OptionSet.h>

#include <charconv>
#include <utility>

namespace connector::host {

namespace {

using Command = Options::Command;

Poco::Util::OptionSet optionSet() {
  Poco::Util::OptionSet set;
  set.addOption(Poco::Util::Option("help", "h"));
  set.addOption(Poco::Util::Option("version", ""));
  set.addOption(Poco::Util::Option("max-message", "").argument("BYTES"));
  set.addOption(Poco::Util::Option("root", "").argument("DIR").repeatable(true));
  set.addOption(Poco::Util::Option("read-only", ""));
  return set;
}

std::size_t parseBytes(const std::string& text) {
  std::size_t value = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value);
  if (error != std::errc() || stop != end || value == 0) {
    throw UsageError("--max-message: not a positive number: " + text);
  }
  return value;
}

void setOption(Options& options, const std::string& name, const std::string& value) {
  if (name == "help") {
    options.command = Command::help;
  } else if (name == "version") {
    options.command = Command::version;
  } else if (name == "max-message") {
    options.maxMessage = parseBytes(value);
  } else if (name == "root") {
    options.confinement.roots.push_back(value);
  } else if (name == "read-only") {
    options.confinement.readOnly = true;
  }
}

[[noreturn]] void refuseOption(const std::string& argument, const Poco::Util::OptionSet& set) {
  std::vector<std::string> names;
  for (const auto& option : set) {
    names.push_back("--" + option.fullName());
  }
  throw UsageError("Unknown option: " + argument +
                   suggestion(argument.substr(0, argument.find('=')), names));
}

/// Returns false if the argument is not an option.
bool takeOption(Poco::Util::OptionProcessor& processor, const Poco::Util::OptionSet& set,
                const std::string& argument, Options& options) {
  std::string name;
  std::string value;
  try {
    if (!processor.process(argument, name, value)) {
      return false;
    }
  } catch (const Poco::Util::UnknownOptionException&) {
    refuseOption(argument, set);
  }
  setOption(options, name, value);
  return true;
}

void setCall(Options& options, const std::vector<std::string>& words) {
  if (words.size() < 2 || words.size() > 3) {
    throw UsageError("call takes a message type, as connector-host types lists them, and at most "
                     "one JSON object");
  }
  options.command = Command::call;
  options.type = words[1];
  if (words.size() == 3) {
    options.json = words[2];
  }
}

void setCommand(Options& options, const std::vector<std::string>& words) {
  const std::string command = words.empty() ? "serve" : words.front();
  if (command == "call") {
    setCall(options, words);
    return;
  }
  if (command != "serve" && command != "types") {
    throw UsageError("Unknown command: " + command +
                     suggestion(command, {"serve", "call", "types"}));
  }
  if (words.size() > 1) {
    throw UsageError(command + " takes no argument: " + words[1]);
  }
  options.command = command == "serve" ? Command::serve : Command::types;
}

} // namespace

Options parseOptions(const std::vector<std::string>& arguments) {
  const auto set = optionSet();
  Poco::Util::OptionProcessor processor(set);
  Options options;
  std::vector<std::string> words;
  try {
    for (const auto& argument : arguments) {
      if (!takeOption(processor, set, argument, options)) {
        words.push_back(argument);
      }
    }
    processor.checkRequired();
  } catch (const Poco::Exception& e) {
    throw UsageError(e.displayText());
  }
  if (options.command == Command::serve) {
    setCommand(options, words);
  }
  return options;
}

std::string usage() {
  return R"(Usage: connector-host [OPTION...] [serve]
       connector-host [OPTION...] call TYPE [JSON]
       connector-host types

Answers messages of the connector file service.

  serve             answer JSON-RPC 2.0 requests on standard input, on standard
                    output, until the input ends; this is the default
  call TYPE [JSON]  answer one message and print the response. A TYPE without a
                    slash is short: ListFolder is connector/v1/ListFolder. JSON
                    defaults to {}; - reads it from standard input
  types             print the message types that are answered

  --max-message BYTES  refuse messages that are longer (default 67108864)
  --root DIR           confine all requests to this folder; may be given again
  --read-only          refuse every change to files and folders
  -h, --help           print this text
  --version            print the version

A stream that begins with { or [ has one JSON text a line; one that begins with
C has Content-Length headers. `method` is the message type, `params` the message.

The kernel does the confining (Landlock, Linux 5.19 or later), whatever the path
or link; where it cannot, nothing is started. A path outside can be neither read
nor changed, but that it exists, its kind, size and times are not hidden.

Exit status of call: 0 success, 1 the response holds a fault, 2 no response.
)";
}

} // namespace connector::host
