#include "Commands.h"
#include "Descriptors.h"
#include "Json.h"
#include "Schema.h"
#include "Terminal.h"

#include <Poco/JSON/Array.h>
#include <Poco/JSON/Object.h>

#include <iomanip>
#include <sstream>
#include <string>
#include <unistd.h>
#include <utility>

namespace connector::host {

namespace {

using Poco::JSON::Object;

constexpr const char* TYPE_PREFIX = "connector/v1/";

std::string fullType(const std::string& type) {
  return type.find('/') == std::string::npos ? TYPE_PREFIX + type : type;
}

Object::Ptr executeWithProgress(const Api& api, const std::string& type,
                                const Object::Ptr& request) {
  const Progress progress(STDERR_FILENO, type);
  return api.execute(fullType(type), request);
}

bool hasFault(const Object& response) {
  const auto faults = response.getArray("messageFaults");
  return !faults.isNull() && faults->size() > 0;
}

/// Reads up to the end of the input, but stops once the text is longer than `limit`.
std::string readAll(Input& input, std::size_t limit) {
  constexpr std::size_t chunk = 64UL * 1024;
  std::string text;
  for (std::size_t count = 1; count > 0 && text.size() <= limit;) {
    const auto kept = text.size();
    text.resize(kept + chunk);
    count = input.read(&text[kept], chunk);
    text.resize(kept + count);
  }
  return text;
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

} // namespace

std::string callHelp(const std::string& type) {
  std::ostringstream text;
  text << "Usage: connector-host [OPTION...] call " << type << " [JSON]\n\n"
       << requestSchema(fullType(type))->getValue<std::string>("description") << "\n\n"
       << std::left;
  for (const auto& key : keysOf(fullType(type))) {
    if (key.type != "object" && !key.isIgnored) {
      text << "  " << std::setw(18) << key.name << std::setw(9) << key.type << key.description
           << (key.isRequired ? " Required.\n" : "\n");
    }
  }
  return text.str();
}

ExitStatus call(const Options& options, const Api& api, const Termination& termination) {
  DescriptorInput input(STDIN_FILENO, termination);
  const auto text = options.json == "-" ? readAll(input, options.maxMessage) : options.json;
  if (input.stopped()) {
    return ExitStatus::failure; // the message may be incomplete
  }
  if (text.size() > options.maxMessage) {
    throw UsageError("The message is too long");
  }
  const auto response = executeWithProgress(api, options.type, parseMessage(text));
  const bool failed = hasFault(*response);
  auto json = writePrettyJson(*response);
  if (failed && showsColor(STDOUT_FILENO)) {
    json = withColoredFaults(std::move(json));
  }
  DescriptorOutput output(STDOUT_FILENO);
  output.append(json + "\n");
  output.flush(); // the exit status does not depend on whether anybody reads the output
  return failed ? ExitStatus::fault : ExitStatus::success;
}

} // namespace connector::host
