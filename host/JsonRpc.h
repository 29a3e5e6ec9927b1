#pragma once

#include "Framing.h"
#include "Json.h"
#include "Output.h"

#include <Poco/JSON/Object.h>

#include <exception>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

/// JSON-RPC 2.0: texts in, texts out. What the methods are is of no concern here.
namespace connector::host {

/// Why a message has no response.
struct Refusal {
  enum class Reason { unknownType, params, delivery };
  Reason reason;
  std::string text;
};

struct Response {
  // NOLINTNEXTLINE(google-explicit-constructor): content that is no more than that
  Response(Poco::JSON::Object::Ptr object, bool fault = false)
      : content(std::move(object))
      , hasFault(fault) {}

  Poco::JSON::Object::Ptr content;
  bool hasFault;
};

using Outcome = std::variant<Response, Refusal>;

/// Answers the message with this type name and content. Whatever it throws is an internal error.
using Api = std::function<Outcome(const std::string& type, const Poco::JSON::Object::Ptr& params)>;

/// The reply to one request. The text of a response is made as it is written, and need not be in
/// memory as a whole.
class Reply {
public:
  explicit Reply(std::string text)
      : head_(std::move(text)) {}

  Reply(std::string head, Poco::JSON::Object::Ptr content, std::string tail)
      : head_(std::move(head))
      , content_(std::move(content))
      , tail_(std::move(tail)) {}

  void writeTo(Output& out) const;

private:
  std::string head_;
  Poco::JSON::Object::Ptr content_; ///< may be null: nothing between the two
  std::string tail_;
};

/// For a failure that says nothing of the request.
Reply internalError(const std::exception& failure);

class JsonRpc;

/// The requests of a batch, carried out one after the other as their replies are written. Valid as
/// long as the text and the JsonRpc that it came from.
class Batch {
public:
  Batch(const JsonRpc& protocol, Text text)
      : protocol_(&protocol)
      , text_(text) {}

  /// Once only. False, and nothing written, when none of them is to be answered.
  [[nodiscard]] bool writeTo(Output& out) const;

private:
  const JsonRpc* protocol_;
  Text text_;
};

/// What is to be sent back for one text.
using Answer = std::variant<Reply, Batch>;

/// A request comes to exactly one Outcome, a value, and each goes through one function into one
/// reply. A reply can be made only with an `id`, which a notification does not have.
class JsonRpc {
public:
  explicit JsonRpc(Api api)
      : api_(std::move(api)) {}

  /// Nothing for a notification. Throws nothing but std::bad_alloc, when there is not even memory
  /// for saying so.
  [[nodiscard]] std::optional<Answer> answer(const Incoming& incoming) const;

private:
  friend class Batch;

  [[nodiscard]] std::optional<Answer> answerText(const Text& text) const;
  [[nodiscard]] std::optional<Reply> answerRequest(const ObjectWithText& request) const;

  Api api_;
};

} // namespace connector::host
