#include "JsonRpc.h"

#include "Json.h"
#include "JsonWriter.h"

#include <Poco/Exception.h>
#include <Poco/JSON/Array.h>

#include <typeinfo>
#include <utility>

namespace connector::host {

namespace {

using Poco::Dynamic::Var;
using Poco::JSON::Array;
using Poco::JSON::Object;

enum class ErrorCode {
  parseError = -32700,
  invalidRequest = -32600,
  methodNotFound = -32601,
  invalidParams = -32602,
  internalError = -32603,
  refusedDelivery = -32000
};

struct Error {
  ErrorCode code;
  std::string message;
};

using Reply = std::variant<Object::Ptr, Error>;

/// What ties a reply to its request, sent back as the very text that came.
class Id {
public:
  static Id none() { return Id("null"); }

  /// Nothing for a text that is not a string, a number or null.
  static std::optional<Id> of(std::string_view json) {
    if (json == "null" || json.find_first_of("\"-0123456789") == 0) {
      return Id(json);
    }
    return std::nullopt;
  }

  [[nodiscard]] const std::string& text() const { return text_; }

private:
  explicit Id(std::string_view text)
      : text_(text) {}

  std::string text_;
};

void appendMember(std::string& out, const Object::Ptr& result) {
  out += R"("result":)";
  appendJson(out, result);
}

void appendMember(std::string& out, const Error& error) {
  out.append(R"("error":{"code":)").append(std::to_string(static_cast<int>(error.code)));
  out.append(R"(,"message":)");
  appendJson(out, error.message);
  out += '}';
}

std::string write(const Id& id, const Reply& reply) {
  std::string out = R"({"jsonrpc":"2.0","id":)" + id.text() + ",";
  std::visit([&out](const auto& member) { appendMember(out, member); }, reply);
  return out.append("}");
}

std::string refuse(const Id& id, ErrorCode code, std::string message) {
  return write(id, Error{code, std::move(message)});
}

template <typename T>
bool isA(const Var& value) {
  return value.type() == typeid(T);
}

/// What is wrong with the shape of a request, apart from its `id`.
std::optional<std::string> flaw(const Object& request) {
  const auto version = request.get("jsonrpc");
  if (!isA<std::string>(version) || version.extract<std::string>() != "2.0") {
    return R"(Invalid request: "jsonrpc" must be "2.0")";
  }
  if (!isA<std::string>(request.get("method"))) {
    return R"(Invalid request: "method" must be a string)";
  }
  const auto params = request.get("params");
  if (request.has("params") && !isA<Object::Ptr>(params) && !isA<Array::Ptr>(params)) {
    return R"(Invalid request: "params" must be an object)";
  }
  return std::nullopt;
}

ErrorCode codeOf(Refusal::Reason reason) {
  switch (reason) {
  case Refusal::Reason::unknownType:
    return ErrorCode::methodNotFound;
  case Refusal::Reason::params:
    return ErrorCode::invalidParams;
  case Refusal::Reason::delivery:
    return ErrorCode::refusedDelivery;
  }
  return ErrorCode::internalError;
}

Reply replyFrom(const Refusal& refusal) {
  return Error{codeOf(refusal.reason), refusal.text};
}

Reply replyFrom(const Response& response) {
  return response.content;
}

/// Carries out a well-shaped request; every failure becomes a value here.
Reply carryOut(const Api& api, const Object& request) {
  // A message has named members only, so parameters by position fit none.
  const auto params = request.get("params");
  if (isA<Array::Ptr>(params)) {
    return Error{ErrorCode::invalidParams, "Invalid params: not an object"};
  }
  try {
    const auto outcome =
        api(request.getValue<std::string>("method"),
            params.isEmpty() ? Poco::makeShared<Object>() : params.extract<Object::Ptr>());
    return std::visit([](const auto& kind) { return replyFrom(kind); }, outcome);
  } catch (const Poco::Exception& e) {
    return Error{ErrorCode::internalError, "Internal error: " + e.displayText()};
  } catch (const std::exception& e) {
    return Error{ErrorCode::internalError, std::string("Internal error: ") + e.what()};
  } catch (...) {
    return Error{ErrorCode::internalError, "Internal error"};
  }
}

std::string refuse(Unreadable reason) {
  switch (reason) {
  case Unreadable::tooLong:
    return refuse(Id::none(), ErrorCode::invalidRequest, "Invalid request: message too long");
  case Unreadable::noLength:
    return refuse(Id::none(), ErrorCode::parseError, "Parse error: no valid Content-Length");
  case Unreadable::cutShort:
    break;
  }
  return refuse(Id::none(), ErrorCode::parseError, "Parse error: message cut short");
}

} // namespace

std::optional<std::string> JsonRpc::answer(const Incoming& incoming) const {
  if (const auto* reason = std::get_if<Unreadable>(&incoming)) {
    return refuse(*reason);
  }
  try {
    return answerText(std::get<std::string>(incoming));
  } catch (const JsonError& e) {
    return refuse(Id::none(), ErrorCode::parseError, std::string("Parse error: ") + e.what());
  } catch (const std::exception& e) {
    return refuse(Id::none(), ErrorCode::internalError, std::string("Internal error: ") + e.what());
  }
}

std::optional<std::string> JsonRpc::answerText(const std::string& text) const {
  const auto value = parseJson(text);
  if (isA<Array::Ptr>(value)) {
    return answerBatch(*value.extract<Array::Ptr>(), text);
  }
  return answerRequest(value, text);
}

std::optional<std::string> JsonRpc::answerBatch(const Array& batch, std::string_view text) const {
  if (batch.size() == 0) {
    return refuse(Id::none(), ErrorCode::invalidRequest, "Invalid request: empty batch");
  }
  std::string replies;
  auto element = batch.begin();
  for (const auto& elementText : elementTexts(text)) {
    if (const auto reply = answerRequest(*element++, elementText)) {
      replies.append(replies.empty() ? "[" : ",").append(*reply);
    }
  }
  if (replies.empty()) {
    return std::nullopt;
  }
  return replies.append("]");
}

std::optional<std::string> JsonRpc::answerRequest(const Var& request, std::string_view text) const {
  if (!isA<Object::Ptr>(request)) {
    return refuse(Id::none(), ErrorCode::invalidRequest, "Invalid request: not an object");
  }
  const auto& object = *request.extract<Object::Ptr>();
  const auto idText = memberText(text, "id");
  const auto id = idText ? Id::of(*idText) : Id::none();
  if (!id) {
    return refuse(Id::none(), ErrorCode::invalidRequest,
                  R"(Invalid request: "id" must be a string, a number or null)");
  }
  if (auto what = flaw(object)) {
    return refuse(*id, ErrorCode::invalidRequest, std::move(*what));
  }

  const auto reply = carryOut(api_, object);
  if (!idText) {
    return std::nullopt;
  }
  return write(*id, reply);
}

} // namespace connector::host
