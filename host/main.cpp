#include "Commands.h"
#include "Confinement.h"
#include "Diagnostics.h"
#include "Json.h"
#include "Schema.h"

#include <fl/filesystem/confinement.h>

#include <Poco/Exception.h>

#include <exception>
#include <iostream>
#include <unistd.h>
#include <utility>

namespace {

using namespace connector::host;

ExitStatus executeRequests(const Options& options) {
  reserveStandardDescriptors();
  const Termination termination(STDIN_FILENO);
  const bool isCall = options.command == Options::Command::call;
  std::vector<int> roots;
  Poco::JSON::Object::Ptr request;
  if (isCall) {
    request = callRequest(options, termination); // may read files outside the roots
    if (request.isNull()) {
      return ExitStatus::failure;
    }
  }
  if (options.readOnly || !options.roots.empty()) {
    roots = confine(options.roots, options.readOnly);
    fl::filesystem::set_confinement(roots, options.readOnly);
  }

  auto api = options.log ? makeLoggingApi(makeFileApi()) : makeFileApi();
  if (options.command == Options::Command::mcp) {
    api = makeMcpApi(std::move(api), options, roots);
  }
  return isCall ? call(options, *api, request) : serve(options, *api, termination);
}

ExitStatus run(const Options& options) {
  switch (options.command) {
  case Options::Command::help:
    std::cout << (options.type.empty() ? usage() : callHelp(options.type));
    return ExitStatus::success;
  case Options::Command::version:
    std::cout << "connector-host " CONNECTOR_HOST_VERSION "\n";
    return ExitStatus::success;
  case Options::Command::types:
    for (const auto& type : requestTypes()) {
      std::cout << type << '\n';
    }
    return ExitStatus::success;
  case Options::Command::schema:
    std::cout << writePrettyJson(*openRpcDocument()) << '\n';
    return ExitStatus::success;
  default:
    return executeRequests(options);
  }
}

int fail(const char* text, const char* hint = "") {
  printDiagnostic(text);
  std::cerr << hint;
  return static_cast<int>(ExitStatus::failure);
}

} // namespace

int main(int argc, char** argv) {
  try {
    const auto status = run(parseOptions({argv + 1, argv + argc}));
    return std::cout.flush() ? static_cast<int>(status) : fail("cannot write the output");
  } catch (const UsageError& e) {
    return fail(e.what(), "Try connector-host --help.\n");
  } catch (const Poco::Exception& e) {
    return fail(e.displayText().c_str());
  } catch (const std::exception& e) {
    return fail(e.what());
  } catch (...) {
    return fail("unknown failure");
  }
}
