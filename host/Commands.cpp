#include "Commands.h"

#include "Descriptors.h"
#include "Json.h"
#include "Terminal.h"

#include <iostream>
#include <new>
#include <unistd.h>
#include <utility>

namespace connector::host {

namespace {

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

Outcome carryOut(const Api& api, const std::string& type, const Poco::JSON::Object::Ptr& message) {
  const Progress progress(STDERR_FILENO, type);
  return api(fullType(type), message);
}

/// Up to the end, or until it is more than `limit`.
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

Poco::JSON::Object::Ptr parseMessage(const std::string& text) {
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

/// A batch can be executed only once, so its length is unknown until all its replies are in memory.
void sendWithLength(Output& output, const Batch& batch) {
  StringOutput replies;
  try {
    if (!batch.writeTo(replies)) {
      return;
    }
    replies.flush();
  } catch (const std::bad_alloc& e) {
    return send(output, Framing::contentLength, internalError(e));
  }
  send(output, Framing::contentLength, Reply(std::move(replies.text())));
}

/// If memory ends, the line breaks off and is not JSON: its beginning may have been sent already.
void sendLine(Output& output, const Batch& batch) {
  try {
    if (!batch.writeTo(output)) {
      return;
    }
  } catch (const std::bad_alloc&) {
  }
  output.append(frameTail(Framing::lines));
  output.flush();
}

void send(Output& output, Framing framing, const Batch& batch) {
  if (framing == Framing::contentLength) {
    sendWithLength(output, batch);
  } else {
    sendLine(output, batch);
  }
}

} // namespace

ExitStatus serve(const Options& options, const Api& api, const Termination& termination) {
  greetPerson();
  widenPipe(STDIN_FILENO);
  widenPipe(STDOUT_FILENO);
  DescriptorInput input(STDIN_FILENO, termination);
  FrameReader reader(input, options.maxMessage);
  const JsonRpc protocol(api);
  DescriptorOutput output(STDOUT_FILENO);
  while (output.isOpen()) {
    const auto incoming = reader.next();
    if (!incoming) {
      break;
    }
    if (const auto answer = protocol.answer(*incoming)) {
      std::visit([&](const auto& kind) { send(output, reader.framing(), kind); }, *answer);
    }
  }
  return ExitStatus::success;
}

ExitStatus call(const Options& options, const Api& api, const Termination& termination) {
  DescriptorInput input(STDIN_FILENO, termination);
  const auto text = options.json == "-" ? readAll(input, options.maxMessage) : options.json;
  if (input.stopped()) {
    return ExitStatus::failure; // the message may not be all there
  }
  if (text.size() > options.maxMessage) {
    throw UsageError("The message is too long");
  }
  const auto outcome = carryOut(api, options.type, parseMessage(text));
  if (const auto* refusal = std::get_if<Refusal>(&outcome)) {
    std::cerr << "connector-host: " << refusal->text << '\n'
              << (refusal->reason == Refusal::Reason::unknownType ? "Try connector-host types.\n"
                                                                  : "");
    return ExitStatus::failure;
  }
  const auto& response = std::get<Response>(outcome);
  auto answer = writePrettyJson(*response.content);
  if (response.hasFault && showsColor(STDOUT_FILENO)) {
    answer = withColoredFaults(std::move(answer));
  }
  DescriptorOutput output(STDOUT_FILENO);
  output.append(answer + "\n");
  output.flush(); // the exit status does not depend on whether anybody reads the output
  return response.hasFault ? ExitStatus::fault : ExitStatus::success;
}

} // namespace connector::host
