#include "Commands.h"

#include "Descriptors.h"
#include "Json.h"
#include "Terminal.h"

#include <iostream>
#include <new>
#include <optional>
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
    if (auto object = parseObject(text).object) {
      return object;
    }
  } catch (const JsonError& e) {
    throw UsageError(std::string("The message is not JSON: ") + e.what());
  }
  throw UsageError("The message is not a JSON object");
}

/// Writes answers; knows when their reader has gone away.
class AnswerOutput : public Output {
public:
  AnswerOutput()
      : Output(64UL * 1024) {}

  [[nodiscard]] bool isOpen() const { return open_; }

  void send(Framing framing, const Reply& reply) {
    if (framing == Framing::contentLength) {
      CountingOutput size;
      reply.writeTo(size);
      size.flush();
      append(headOf(framing, size.count()));
    }
    reply.writeTo(*this);
    append(tailOf(framing));
    flush();
  }

  void send(Framing framing, const Batch& batch) {
    if (framing == Framing::contentLength) {
      if (const auto replies = gathered(batch)) {
        send(framing, *replies);
      }
    } else if (writeLine(batch)) {
      append(tailOf(framing));
      flush();
    }
  }

protected:
  void drain(std::string_view bytes) override { open_ = open_ && writeAll(STDOUT_FILENO, bytes); }

private:
  /// What is done only once has no length beforehand. Nothing when nothing is to be sent.
  static std::optional<Reply> gathered(const Batch& batch) {
    try {
      StringOutput replies;
      if (!batch.writeTo(replies)) {
        return std::nullopt;
      }
      replies.flush();
      return Reply(std::move(replies.text()));
    } catch (const std::bad_alloc& e) {
      return internalError(e);
    }
  }

  /// Whether there is a line. What was sent of it cannot be taken back when memory ends: it then
  /// breaks off, and is no JSON.
  bool writeLine(const Batch& batch) {
    try {
      return batch.writeTo(*this);
    } catch (const std::bad_alloc&) {
      return true;
    }
  }

  bool open_ = true;
};

} // namespace

ExitStatus serve(const Options& options, const Api& api, const Termination& termination) {
  greetPerson();
  widenPipe(STDIN_FILENO);
  widenPipe(STDOUT_FILENO);
  DescriptorInput input(termination);
  FrameReader reader(input, options.maxMessage);
  const JsonRpc protocol(api);
  AnswerOutput output;
  while (output.isOpen()) {
    const auto incoming = reader.next();
    if (!incoming) {
      break;
    }
    if (const auto answer = protocol.answer(*incoming)) {
      std::visit([&](const auto& kind) { output.send(reader.framing(), kind); }, *answer);
    }
  }
  return ExitStatus::success;
}

ExitStatus call(const Options& options, const Api& api, const Termination& termination) {
  DescriptorInput input(termination);
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
  // A reader that does not stay for the answer changes nothing of what it is.
  static_cast<void>(writeAll(STDOUT_FILENO, answer + "\n"));
  return response.hasFault ? ExitStatus::fault : ExitStatus::success;
}

} // namespace connector::host
