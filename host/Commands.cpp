#include "Commands.h"

#include "Descriptors.h"
#include "Json.h"
#include "Terminal.h"

#include <Poco/JSON/Array.h>
#include <Poco/JSON/Object.h>

#include <iostream>
#include <new>
#include <optional>
#include <unistd.h>
#include <utility>
#include <variant>

namespace connector::host {

namespace {

using Poco::JSON::Object;

constexpr const char* TYPE_PREFIX = "connector/v1/";

void greetPerson() {
  if (isatty(STDIN_FILENO) == 0) {
    return;
  }
  std::cerr << "connector-host answers JSON-RPC 2.0 requests, one a line; Ctrl-D ends it. Try:\n"
            << R"({"jsonrpc":"2.0","id":1,"method":")" << TYPE_PREFIX
            << R"(ListFolder","params":{"path":"/"}})" << '\n';
}

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

void send(Output& output, Framing framing, const Reply& reply) {
  if (framing == Framing::contentLength) {
    CountingOutput size;
    reply.writeTo(size);
    size.flush();
    output.append(frameHead(framing, size.count()));
  }
  reply.writeTo(output);
  output.append(frameTail(framing));
  output.flush();
}

void send(Output& output, Framing framing, const std::optional<Reply>& reply) {
  if (reply) {
    send(output, framing, *reply);
  }
}

/// Keeps all replies in memory: their length is unknown before the batch is executed.
std::optional<Reply> gatherReplies(const Batch& batch) {
  try {
    StringOutput replies;
    if (!batch.execute(replies)) {
      return std::nullopt;
    }
    replies.flush();
    return Reply(std::move(replies.text()));
  } catch (const std::bad_alloc& e) {
    return internalError(e);
  }
}

/// Returns whether there is a line to end. If memory runs out, the line ends early and is not JSON:
/// its beginning may already be sent.
bool writeLine(Output& output, const Batch& batch) {
  try {
    return batch.execute(output);
  } catch (const std::bad_alloc&) {
    return true;
  }
}

void send(Output& output, Framing framing, const Batch& batch) {
  if (framing == Framing::contentLength) {
    send(output, framing, gatherReplies(batch));
  } else if (writeLine(output, batch)) {
    output.append(frameTail(framing));
    output.flush();
  }
}

} // namespace

ExitStatus serve(const Options& options, const Api& api, const Termination& termination) {
  greetPerson();
  widenPipe(STDIN_FILENO);
  widenPipe(STDOUT_FILENO);
  DescriptorInput input(STDIN_FILENO, termination);
  FrameReader reader(input, options.maxMessage);
  DescriptorOutput output(STDOUT_FILENO);
  while (output.isOpen()) {
    const auto incoming = reader.next();
    if (!incoming) {
      break;
    }
    std::visit([&](const auto& kind) { send(output, reader.framing(), kind); },
               answer(api, *incoming));
  }
  return ExitStatus::success;
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
