#pragma once

#include "Framing.h"
#include "Output.h"
#include "Text.h"

#include <Poco/JSON/Object.h>

#include <cstddef>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <variant>
#include <vector>

/// JSON-RPC 2.0: from texts to replies, for any methods.
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

/// The reason why a request has no response.
class Error : public std::runtime_error {
public:
  Error(ErrorCode code, const std::string& message, Poco::JSON::Object::Ptr data = nullptr)
      : std::runtime_error(message)
      , code_(code)
      , data_(std::move(data)) {}

  [[nodiscard]] ErrorCode code() const { return code_; }

  /// May be null.
  [[nodiscard]] const Poco::JSON::Object::Ptr& data() const { return data_; }

private:
  ErrorCode code_;
  Poco::JSON::Object::Ptr data_;
};

/// The error of a request that was not begun.
Error cancelled();

/// Everything but the methods of an Api in which protocols that use JSON-RPC differ.
struct Protocol {
  /// A request, for a person at a terminal.
  const char* example =
      R"({"jsonrpc":"2.0","id":1,"method":"connector/v1/ListFolder","params":{"path":"/"}})";
  const char* cancellation = "$/cancelRequest"; ///< the notification that cancels a request
  const char* cancelledId = "id";               ///< its param with the id of that request
  bool repliesToCancelled = true;
  bool hasBatches = true;
  bool hasShutdown = true; ///< the methods below, for clients of language servers
};

// Both return null.
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

/// The JSON-RPC text that answers one request. The text of a response is generated while it is
/// written, so it need not fit into memory.
class Reply {
public:
  explicit Reply(std::string text)
      : head_(std::move(text)) {}

  Reply(std::string head, Poco::JSON::Object::Ptr response, std::string tail)
      : head_(std::move(head))
      , response_(std::move(response))
      , tail_(std::move(tail)) {}

  void writeTo(Output& out) const;

private:
  std::string head_;
  Poco::JSON::Object::Ptr response_; ///< null if there is none between head and tail
  std::string tail_;
};

/// A request that has the members of one. Its `params` may still be rejected.
class Request {
public:
  /// `id` is the JSON text of the reply's `id`, or nullopt for a notification.
  Request(std::optional<std::string> id, Poco::JSON::Object::Ptr members)
      : id_(std::move(id))
      , members_(std::move(members)) {}

  /// Executes the request. Every failure becomes the reply. Returns nullopt for a notification.
  [[nodiscard]] std::optional<Reply> execute(const Api& api) const;

  /// The reply if it is not executed. Returns nullopt for a notification.
  [[nodiscard]] std::optional<Reply> refuse(const Error& reason) const;

  [[nodiscard]] std::string method() const { return members_->getValue<std::string>("method"); }

  /// Whether the param `key` of a cancellation is the id of this request.
  [[nodiscard]] bool isNamedBy(const Request& cancellation, const char* key) const;

private:
  [[nodiscard]] Poco::JSON::Object::Ptr params() const;

  std::optional<std::string> id_;
  Poco::JSON::Object::Ptr members_;
};

/// The text of a batch: an array that countElements has checked. It belongs to the FrameReader
/// until `keep` copies it.
class Batch {
public:
  explicit Batch(Text text)
      : text_(text) {}

  [[nodiscard]] Text text() const { return text_; }

  void keep();

private:
  Text text_;
  std::vector<char> kept_;
};

/// One text of a client: a request, a batch, or the reply to a text that cannot be executed.
using Task = std::variant<Request, Batch, Reply>;

/// Reads a text. If anything in it is not JSON, none of its requests is executed. Throws
/// std::bad_alloc if there is no memory even for a reply.
[[nodiscard]] Task parse(const Incoming& incoming);

/// The limits of an execution.
struct Limits {
  std::size_t batchReply;        ///< bytes; the requests after it are not executed
  std::function<bool()> stopped; ///< whether no further request may be begun
};

/// Executes a task, the requests of a batch in order, and returns the reply if there is one. Throws
/// std::bad_alloc if there is no memory even for a reply.
[[nodiscard]] std::optional<Reply> execute(const Api& api, const Task& task, const Limits& limits);

} // namespace connector::host
