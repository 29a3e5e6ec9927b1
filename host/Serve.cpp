#include "Commands.h"
#include "Framing.h"
#include "Jobs.h"

#include <iostream>
#include <mutex>
#include <unistd.h>
#include <utility>
#include <variant>

namespace connector::host {

namespace {

std::size_t sizeOf(const Incoming& incoming) {
  const auto* text = std::get_if<Text>(&incoming);
  return text == nullptr ? 0 : text->bytes().size();
}

/// Executes the requests of a client until the input ends.
class Connection {
public:
  Connection(const Options& options, const Api& api, const Termination& termination)
      : api_(api)
      , protocol_(api.protocol())
      , output_(STDOUT_FILENO)
      , input_(STDIN_FILENO, termination, STDOUT_FILENO)
      , reader_(input_, options.maxMessage)
      , limits_{options.maxMessage, [this] { return input_.stopped(); }}
      , jobs_(options.jobs, options.maxMessage, [this](const Task& task) { execute(task); }) {}

  ExitStatus serve() {
    while (output_.isOpen() && !isExiting_) {
      const auto incoming = reader_.next();
      if (!incoming) {
        break;
      }
      take(parse(*incoming), sizeOf(*incoming));
    }
    jobs_.finish();
    return isExiting_ && !isShutDown_ ? ExitStatus::fault : ExitStatus::success;
  }

private:
  void take(Task task, std::size_t size) {
    if (const auto* request = std::get_if<Request>(&task)) {
      const auto method = request->method();
      isShutDown_ = isShutDown_ || (protocol_.hasShutdown && method == SHUTDOWN);
      isExiting_ = protocol_.hasShutdown && method == EXIT;
      if (method == protocol_.cancellation) {
        cancel(*request);
      }
    }
    jobs_.add(std::move(task), size);
  }

  void cancel(const Request& cancellation) {
    const auto request = jobs_.remove(cancellation, protocol_.cancelledId);
    if (request && protocol_.repliesToCancelled) {
      send(std::get<Request>(*request).replyWith(cancelledError()));
    }
  }

  /// Like `send`, may run on several threads at once.
  void execute(const Task& task) {
    try {
      send(host::execute(api_, task, limits_));
    } catch (...) {
      input_.stop();
      throw;
    }
    if (!output_.isOpen()) {
      input_.stop();
    }
  }

  void send(const std::optional<Reply>& reply) {
    if (!reply) {
      return;
    }
    const bool isLine = reader_.framing() == Framing::lines;
    const auto head = isLine ? "" : "Content-Length: " + std::to_string(reply->size()) + "\r\n\r\n";
    const std::lock_guard lock(outputMutex_);
    try {
      output_.append(head);
      reply->writeTo(output_);
      output_.append(isLine ? "\n" : "");
      output_.flush();
    } catch (...) {
      output_.close(); // no other reply may follow a part of this one
      throw;
    }
  }

  const Api& api_;
  const Protocol protocol_;
  std::mutex outputMutex_;
  DescriptorOutput output_;
  DescriptorInput input_;
  FrameReader reader_;
  ExecutionLimits limits_;
  bool isShutDown_ = false;
  bool isExiting_ = false;
  Jobs jobs_; // the last member, so that its threads end first
};

} // namespace

ExitStatus serve(const Options& options, const Api& api, const Termination& termination) {
  if (isatty(STDIN_FILENO) != 0) {
    std::cerr
        << "connector-host answers JSON-RPC 2.0 requests, one per line; Ctrl-D ends it. Try:\n"
        << api.protocol().example << '\n';
  }
  widenPipe(STDIN_FILENO);
  widenPipe(STDOUT_FILENO);
  return Connection(options, api, termination).serve();
}

} // namespace connector::host
