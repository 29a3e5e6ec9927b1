#pragma once

#include "Framing.h"
#include "Streams.h"

#include <Poco/JSON/Object.h>

#include <cstddef>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <variant>

/// Turns texts into JSON-RPC 2.0 replies, for any methods. An Api returns a response. A reply is
/// the JSON-RPC text with that response or with an Error.
namespace connector::host {

enum class ErrorCode {
  parseError = -32700,
  invalidRequest = -32600,
  methodNotFound = -32601,
  invalidParams = -32602,
  internalError = -32603,
  refusedDelivery = -32000,
  cancelled = -32800,
  unsupportedVersion = -32022 ///< of the Model Context Protocol
};

/// A JSON-RPC error: the reason why a request has no response.
struct Error : std::runtime_error {
  Error(ErrorCode errorCode, const std::string& message,
        Poco::JSON::Object::Ptr errorData = nullptr)
      : std::runtime_error(message)
      , code(errorCode)
      , data(std::move(errorData)) {}

  ErrorCode code;
  Poco::JSON::Object::Ptr data; ///< may be null
};

/// The error of a request that was cancelled before it began.
Error cancelledError();

/// The differences between protocols that use JSON-RPC, except for their methods.
struct Protocol {
  /// A request that a person at a terminal may try.
  const char* example =
      R"({"jsonrpc":"2.0","id":1,"method":"connector/v1/ListFolder","params":{"path":"/"}})";
  const char* cancellation = "$/cancelRequest"; ///< the notification that cancels a request
  const char* cancelledId = "id";               ///< its param that names the request
  bool repliesToCancelled = true;
  bool hasBatches = true;
  bool hasShutdown = true; ///< the methods below, for clients of language servers
};

// The result of both is null; their effect is in Serve.cpp.
constexpr const char* SHUTDOWN = "shutdown";
constexpr const char* EXIT = "exit";

/// The methods of a protocol.
class Api {
public:
  virtual ~Api() = default;

  [[nodiscard]] virtual Protocol protocol() const { return {}; }

  /// Executes a request of this type and returns the response. Throws an Error; any other exception
  /// is an internal error.
  [[nodiscard]] virtual Poco::JSON::Object::Ptr
  execute(const std::string& type, const Poco::JSON::Object::Ptr& params) const = 0;
};

/// The JSON-RPC text that answers one request. `writeTo` generates the text of a response while it
/// writes, so that the text need not fit into memory.
class Reply {
public:
  explicit Reply(std::string text)
      : head_(std::move(text)) {}

  /// The reply to one request, with a member `result` or `error`. A null value is written as null.
  Reply(const std::string& id, const std::string& member, Poco::JSON::Object::Ptr value);

  [[nodiscard]] std::string text() const;

  /// The size of text().
  [[nodiscard]] std::size_t size() const;

  void writeTo(Output& out) const;

private:
  std::string head_;              ///< up to the value
  Poco::JSON::Object::Ptr value_; ///< only a bracket follows it; null if head_ is the whole text
};

/// A request whose members have the right types. Only its execution checks the method and `params`.
class Request {
public:
  /// `id` is the JSON text of the reply's `id`, or nullopt for a notification, which has no reply.
  Request(std::optional<std::string> id, Poco::JSON::Object::Ptr members)
      : id_(std::move(id))
      , members_(std::move(members)) {}

  /// Executes the request. A failure becomes an error reply.
  [[nodiscard]] std::optional<Reply> execute(const Api& api) const;

  [[nodiscard]] std::optional<Reply> replyWith(const Error& error) const;

  [[nodiscard]] std::string method() const { return members_->getValue<std::string>("method"); }

  /// Whether the param `key` of a cancellation is the id of this request.
  [[nodiscard]] bool isNamedBy(const Request& cancellation, const char* key) const;

private:
  [[nodiscard]] Poco::JSON::Object::Ptr params() const;

  std::optional<std::string> id_;
  Poco::JSON::Object::Ptr members_;
};

/// An array that countElements has checked.
struct Batch {
  Text text;
};

/// One text becomes one task: execute a request, execute a batch, or send a reply.
using Task = std::variant<Request, Batch, Reply>;

/// Returns the task for a text. If any part of the text is not JSON, the task is to send an error
/// reply. Throws std::bad_alloc if not even an error reply fits into memory.
[[nodiscard]] Task parse(const Incoming& incoming);

struct ExecutionLimits {
  /// The size of a batch and its reply together, in bytes. Once a reply does not fit, later
  /// requests are not executed.
  std::size_t maxBatch;
  std::function<bool()> isStopped; ///< whether no further request may be begun
};

/// Executes a task and returns its reply, if it has one. The requests of a batch are executed in
/// order. Throws std::bad_alloc if not even an error reply fits into memory.
[[nodiscard]] std::optional<Reply> execute(const Api& api, const Task& task,
                                           const ExecutionLimits& limits);

} // namespace connector::host
