#include "Commands.h"

#include "Descriptors.h"

#include <iostream>
#include <new>
#include <optional>
#include <unistd.h>
#include <utility>
#include <variant>

namespace connector::host {

namespace {

void greetPerson() {
  if (isatty(STDIN_FILENO) == 0) {
    return;
  }
  std::cerr
      << "connector-host answers JSON-RPC 2.0 requests, one a line; Ctrl-D ends it. Try:\n"
      << R"({"jsonrpc":"2.0","id":1,"method":"connector/v1/ListFolder","params":{"path":"/"}})"
      << '\n';
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

} // namespace connector::host
