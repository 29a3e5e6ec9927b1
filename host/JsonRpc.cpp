#include "JsonRpc.h"

#include "Json.h"
#include "JsonWriter.h"

#include <Poco/Exception.h>
#include <Poco/JSON/Array.h>

#include <new>
#include <typeinfo>
#include <utility>

namespace connector::host {

namespace {

using Poco::Dynamic::Var;
using Poco::JSON::Array;
using Poco::JSON::Object;

constexpr std::string_view ID = "id";

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

using Result = std::variant<Object::Ptr, Error>;

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

std::string headOf(const Id& id) {
  return R"({"jsonrpc":"2.0","id":)" + id.text() + ",";
}

Reply write(const Id& id, const Object::Ptr& result) {
  return {headOf(id) + R"("result":)", result, "}"};
}

Reply write(const Id& id, const Error& error) {
  StringOutput text;
  appendJson(text, error.message);
  text.flush();
  return Reply(headOf(id) + R"("error":{"code":)" + std::to_string(static_cast<int>(error.code)) +
               R"(,"message":)" + text.text() + "}}");
}

Reply refuse(const Id& id, ErrorCode code, std::string message) {
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

Result resultFrom(const Refusal& refusal) {
  return Error{codeOf(refusal.reason), refusal.text};
}

Result resultFrom(const Response& response) {
  return response.content;
}

/// Carries out a well-shaped request; every failure becomes a value here.
Result carryOut(const Api& api, const Object& request) {
  // A message has named members only, so parameters by position fit none.
  const auto params = request.get("params");
  if (isA<Array::Ptr>(params)) {
    return Error{ErrorCode::invalidParams, "Invalid params: not an object"};
  }
  try {
    const auto outcome =
        api(request.getValue<std::string>("method"),
            params.isEmpty() ? Poco::makeShared<Object>() : params.extract<Object::Ptr>());
    return std::visit([](const auto& kind) { return resultFrom(kind); }, outcome);
  } catch (const Poco::Exception& e) {
    return Error{ErrorCode::internalError, "Internal error: " + e.displayText()};
  } catch (const std::exception& e) {
    return Error{ErrorCode::internalError, std::string("Internal error: ") + e.what()};
  } catch (...) {
    return Error{ErrorCode::internalError, "Internal error"};
  }
}

Reply refuse(Unreadable reason) {
  switch (reason) {
  case Unreadable::tooLong:
    return refuse(Id::none(), ErrorCode::invalidRequest, "Invalid request: message too long");
  case Unreadable::noMemory:
    return internalError(std::bad_alloc());
  case Unreadable::noLength:
    return refuse(Id::none(), ErrorCode::parseError, "Parse error: no valid Content-Length");
  case Unreadable::cutShort:
    break;
  }
  return refuse(Id::none(), ErrorCode::parseError, "Parse error: message cut short");
}

} // namespace

Reply internalError(const std::exception& failure) {
  return refuse(Id::none(), ErrorCode::internalError,
                std::string("Internal error: ") + failure.what());
}

void Reply::writeTo(Output& out) const {
  out.append(head_);
  if (!content_.isNull()) {
    appendJson(out, content_);
  }
  out.append(tail_);
}

bool Batch::writeTo(Output& out) const {
  char separator = '[';
  forEachElement(text_, ID, [&](const ObjectWithText& request) {
    if (const auto reply = protocol_->answerRequest(request)) {
      out.append(std::exchange(separator, ','));
      reply->writeTo(out);
    }
  });
  if (separator == '[') {
    return false;
  }
  out.append(']');
  return true;
}

std::optional<Answer> JsonRpc::answer(const Incoming& incoming) const {
  if (const auto* reason = std::get_if<Unreadable>(&incoming)) {
    return refuse(*reason);
  }
  try {
    return answerText(std::get<Text>(incoming));
  } catch (const JsonError& e) {
    return refuse(Id::none(), ErrorCode::parseError, std::string("Parse error: ") + e.what());
  } catch (const std::exception& e) {
    return internalError(e);
  }
}

std::optional<Answer> JsonRpc::answerText(const Text& text) const {
  if (!isArray(text.bytes)) {
    return answerRequest(parseObject(text, ID));
  }
  if (countElements(text) == 0) {
    return refuse(Id::none(), ErrorCode::invalidRequest, "Invalid request: empty batch");
  }
  return Batch(*this, text);
}

std::optional<Reply> JsonRpc::answerRequest(const ObjectWithText& request) const {
  if (!request.object) {
    return refuse(Id::none(), ErrorCode::invalidRequest, "Invalid request: not an object");
  }
  const auto id = request.memberText ? Id::of(*request.memberText) : Id::none();
  if (!id) {
    return refuse(Id::none(), ErrorCode::invalidRequest,
                  R"(Invalid request: "id" must be a string, a number or null)");
  }
  if (auto what = flaw(*request.object)) {
    return refuse(*id, ErrorCode::invalidRequest, std::move(*what));
  }

  const auto result = carryOut(api_, *request.object);
  if (!request.memberText) {
    return std::nullopt;
  }
  return std::visit([&](const auto& member) { return write(*id, member); }, result);
}

} // namespace connector::host
