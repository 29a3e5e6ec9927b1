#pragma once

#include "Framing.h"

#include <Poco/JSON/Array.h>
#include <Poco/JSON/Object.h>

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

/// A request comes to exactly one Outcome, a value, and each goes through one function into one
/// reply. A reply can be made only with an `id`, which a notification does not have.
class JsonRpc {
public:
  explicit JsonRpc(Api api)
      : api_(std::move(api)) {}

  /// What is to be sent back for one text: the reply, the array of replies to a batch, or nothing
  /// when the text holds notifications alone. Throws nothing but std::bad_alloc, when there is
  /// not even memory for saying so.
  [[nodiscard]] std::optional<std::string> answer(const Incoming& incoming) const;

private:
  [[nodiscard]] std::optional<std::string> answerText(const std::string& text) const;
  [[nodiscard]] std::optional<std::string> answerBatch(const Poco::JSON::Array& batch,
                                                       std::string_view text) const;
  [[nodiscard]] std::optional<std::string> answerRequest(const Poco::Dynamic::Var& request,
                                                         std::string_view text) const;

  Api api_;
};

} // namespace connector::host
