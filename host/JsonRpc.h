#pragma once

#include "Framing.h"
#include "Output.h"
#include "Text.h"

#include <Poco/JSON/Object.h>

#include <exception>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <variant>

/// JSON-RPC 2.0: from texts to replies, for any methods.
namespace connector::host {

enum class ErrorCode {
  parseError = -32700,
  invalidRequest = -32600,
  methodNotFound = -32601,
  invalidParams = -32602,
  internalError = -32603,
  refusedDelivery = -32000
};

/// The reason why a request has no response.
class Error : public std::runtime_error {
public:
  Error(ErrorCode code, const std::string& message)
      : std::runtime_error(message)
      , code_(code) {}

  [[nodiscard]] ErrorCode code() const { return code_; }

private:
  ErrorCode code_;
};

/// The methods.
class Api {
public:
  virtual ~Api() = default;

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

/// The reply to a text that could not be processed, for example because memory ran out.
Reply internalError(const std::exception& failure);

/// The requests of a batch, valid as long as its text and the Api.
class Batch {
public:
  /// `text` is an array that countElements has checked.
  Batch(const Api& api, Text text)
      : api_(&api)
      , text_(text) {}

  /// Executes the requests in order and writes their replies as one array. A second call would
  /// execute them again. Returns false, without writing, if no request needs a reply. Throws
  /// std::bad_alloc.
  [[nodiscard]] bool execute(Output& out) const;

private:
  const Api* api_;
  Text text_;
};

/// The answer to one text: a reply, no reply to a notification, or the replies of a batch.
using Answer = std::variant<std::optional<Reply>, Batch>;

/// Executes the request in a text, but not yet those of a batch. If anything in the text is not
/// JSON, no request is executed. Throws std::bad_alloc if there is no memory even for a reply.
[[nodiscard]] Answer answer(const Api& api, const Incoming& incoming);

} // namespace connector::host
