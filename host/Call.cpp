#include "Commands.h"
#include "Descriptors.h"
#include "Diagnostics.h"
#include "Json.h"
#include "Schema.h"

#include <Poco/Ascii.h>
#include <Poco/Base64Decoder.h>
#include <Poco/Dynamic/Var.h>
#include <Poco/Environment.h>
#include <Poco/JSON/Object.h>
#include <Poco/String.h>

#include <algorithm>
#include <chrono>
#include <fcntl.h>
#include <future>
#include <iomanip>
#include <iostream>
#include <iterator>
#include <sstream>
#include <string>
#include <system_error>
#include <unistd.h>
#include <utility>
#include <vector>

namespace connector::host {

namespace {

using Poco::Dynamic::Var;
using Poco::JSON::Object;
using Keys = std::vector<RequestKey>;

std::string fullType(const std::string& type) {
  return type.find('/') == std::string::npos ? "connector/v1/" + type : type;
}

/// Throws a UsageError beyond `limit` bytes.
std::string readAll(Input& input, std::size_t limit) {
  constexpr std::size_t chunk = 64UL * 1024;
  std::string text;
  for (std::size_t count = 1; count > 0 && text.size() <= limit;) {
    const auto size = text.size();
    text.resize(size + chunk);
    count = input.read(&text[size], chunk);
    text.resize(size + count);
  }
  if (text.size() > limit) {
    throw UsageError("The message is too long");
  }
  return text;
}

/// Opens a file in place of standard input and reads it. The first signal then also ends the wait
/// for the writer of a FIFO.
std::string readFile(const std::string& path, std::size_t limit, Input& standardInput) {
  try {
    const auto file =
        posix::Descriptor(posix::check(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC), ""));
    posix::check(dup2(file.get(), STDIN_FILENO), "");
    return readAll(standardInput, limit);
  } catch (const std::system_error& e) {
    throw UsageError("Cannot read " + path + ": " + e.code().message());
  }
}

Object::Ptr parseMessage(const std::string& text) {
  try {
    if (auto object = parseObject(Text(text)).object) {
      return object;
    }
  } catch (const JsonError& e) {
    throw UsageError(std::string("The message is not JSON: ") + e.what());
  }
  throw UsageError("The message is not a JSON object");
}

bool isAssignment(const std::string& argument) {
  return argument.find('=') != std::string::npos && Poco::Ascii::isAlpha(argument.front());
}

Var parseValue(const RequestKey& key, const std::string& text, std::size_t limit, Input& input) {
  if (key.type() == "object") {
    throw UsageError(key.name + " is an object; give its keys, such as " + key.name + ".location");
  }
  if (key.type() == "boolean") {
    if (text != "true" && text != "false") {
      throw UsageError(key.name + " must be true or false");
    }
    return text == "true";
  }
  // Any bytes are allowed, even if not UTF-8, because the message is never written as JSON.
  const bool isFile = key.name == "file.contents" && text[0] == '@';
  return isFile ? readFile(text.substr(1), limit, input) : text;
}

Object::Ptr assembleMessage(const Options& options, const Keys& keys, Input& input) {
  auto message = Poco::makeShared<Object>();
  for (const auto& argument : options.arguments) {
    if (!isAssignment(argument)) {
      throw UsageError("Not KEY=VALUE: " + argument);
    }
    const auto equals = argument.find('=');
    const auto name = argument.substr(0, equals);
    const auto value = argument.substr(equals + 1);
    const auto* key = findKey(keys, name);
    setKey(*message, key == nullptr ? name : key->name,
           key == nullptr ? Var(value) : parseValue(*key, value, options.maxMessage, input));
  }
  return message;
}

Object::Ptr readMessage(const Options& options, const Keys& keys, Input& input) {
  const auto& arguments = options.arguments;
  if (arguments.size() != 1 || isAssignment(arguments.front())) {
    auto message = assembleMessage(options, keys, input);
    return input.stopped() ? nullptr : message;
  }
  const auto& argument = arguments.front();
  const auto text = argument == "-" ? readAll(input, options.maxMessage) : argument;
  if (text.size() > options.maxMessage) {
    throw UsageError("The message is too long");
  }
  return input.stopped() ? nullptr : parseMessage(text); // the text may be incomplete
}

/// The service ignores keys that it does not know.
void warnOfUnknownKeys(const std::string& type, const Object& message, const Keys& keys,
                       const std::string& prefix = "") {
  std::vector<std::string> names;
  for (const auto& key : keys) {
    names.push_back(key.name);
  }
  for (const auto& member : message) {
    const auto name = prefix + member.first;
    if (std::find(names.begin(), names.end(), name) == names.end()) {
      printDiagnostic(Poco::cat(type, std::string(" has no key "), name, suggestion(name, names)));
    } else if (const auto object = message.getObject(member.first)) {
      warnOfUnknownKeys(type, *object, keys, name + ".");
    }
  }
}

/// Shows "connector-host: TYPE ... N s" on a terminal while a request takes longer than a second.
Object::Ptr executeWithProgress(const Api& api, const std::string& type,
                                const Object::Ptr& request) {
  // Only the display needs a second thread. Without one, the request is executed by `get`.
  const auto policy = isatty(STDERR_FILENO) != 0 ? std::launch::async | std::launch::deferred
                                                 : std::launch::deferred;
  auto response = std::async(policy, [&] { return api.execute(fullType(type), request); });
  std::string line;
  for (int seconds = 1; response.wait_for(std::chrono::seconds(1)) == std::future_status::timeout;
       ++seconds) {
    line = "connector-host: " + type + " ... " + std::to_string(seconds) + " s";
    std::cerr << '\r' << line;
  }
  if (!line.empty()) {
    std::cerr << '\r' << std::string(line.size(), ' ') << '\r';
  }
  return response.get();
}

/// Whether standard output is a terminal with colours, and NO_COLOR is not set.
bool showsColor() {
  return isatty(STDOUT_FILENO) != 0 && Poco::Environment::get("NO_COLOR", "").empty() &&
         Poco::Environment::get("TERM", "dumb") != "dumb";
}

/// Colours the faults in a response that `writePrettyJson` has written.
std::string withColoredFaults(std::string response) {
  const std::string closing = "\n  ]"; // a line break inside a text is escaped
  const auto begin = response.find("\n  \"messageFaults\"");
  const auto end = response.find(closing, begin);
  if (end != std::string::npos) {
    response.insert(end + closing.size(), "\x1B[0m");
    response.insert(begin + 1, "\x1B[31m");
  }
  return response;
}

std::string contentsOf(const Object& response) {
  const auto file = response.getObject("file");
  auto text = file->getValue<std::string>("contents");
  if (file->getValue<std::string>("encoding") != "base64") {
    return text;
  }
  std::istringstream encoded(text);
  Poco::Base64Decoder decoder(encoded);
  return {std::istreambuf_iterator<char>(decoder), {}};
}

/// The exit status does not depend on whether anybody reads the output.
void print(const std::string& text) {
  DescriptorOutput output(STDOUT_FILENO);
  output.append(text);
  output.flush();
}

} // namespace

std::string callHelp(const std::string& type) {
  std::ostringstream text;
  text << "Usage: connector-host [OPTION...] call " << type << " [JSON | KEY=VALUE...]\n\n"
       << requestSchema(fullType(type))->getValue<std::string>("description") << "\n\n"
       << std::left;
  for (const auto& key : keysOf(fullType(type))) {
    if (key.type() != "object" && !key.isIgnored()) {
      text << "  " << std::setw(18) << key.name << std::setw(9) << key.type()
           << key.schema->getValue<std::string>("description")
           << (key.isRequired ? " Expected.\n" : "\n");
    }
  }
  return text.str();
}

Object::Ptr callRequest(const Options& options, const Termination& termination) {
  const auto type = fullType(options.type);
  const auto keys = keysOf(type);
  if (options.contents && !returnsFile(type)) {
    throw UsageError("The response to " + options.type + " has no contents");
  }
  DescriptorInput input(STDIN_FILENO, termination);
  auto message = readMessage(options, keys, input);
  if (!message.isNull()) {
    warnOfUnknownKeys(options.type, *message, keys);
  }
  return message;
}

ExitStatus call(const Options& options, const Api& api, const Object::Ptr& request) {
  const auto response = executeWithProgress(api, options.type, request);
  const auto fault = faultIn(*response);
  if (!options.contents) {
    auto json = forTerminal(STDOUT_FILENO, writePrettyJson(*response));
    if (fault && showsColor()) {
      json = withColoredFaults(std::move(json));
    }
    print(json + '\n');
  } else if (fault) {
    printDiagnostic(fault->message);
  } else {
    print(forTerminal(STDOUT_FILENO, contentsOf(*response)));
  }
  return fault ? ExitStatus::fault : ExitStatus::success;
}

} // namespace connector::host
