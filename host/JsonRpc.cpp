#include "JsonRpc.h"

#include "Json.h"
#include "JsonWriter.h"

#include <Poco/Exception.h>
#include <Poco/JSON/Array.h>

#include <new>
#include <string_view>
#include <typeinfo>
#include <utility>

namespace connector::host {

namespace {

using Poco::Dynamic::Var;
using Poco::JSON::Array;
using Poco::JSON::Object;

constexpr std::string_view ID = "id";

/// The `id` of a reply: the JSON text of the request's `id`, unchanged.
class Id {
public:
  /// For a notification, or a request whose `id` is unknown.
  Id() = default;

  explicit Id(std::string_view json)
      : json_(json) {
    if (json != "null" && json.find_first_of("\"-0123456789") != 0) {
      throw Error(ErrorCode::invalidRequest,
                  R"(Invalid request: "id" must be a string, a number or null)");
    }
  }

  [[nodiscard]] const std::string& json() const { return json_; }

private:
  std::string json_ = "null";
};

std::string replyHead(const Id& id) {
  return R"({"jsonrpc":"2.0","id":)" + id.json() + ",";
}

Reply resultReply(const Id& id, const Object::Ptr& response) {
  return {replyHead(id) + R"("result":)", response, "}"};
}

Reply errorReply(const Id& id, const Error& error) {
  StringOutput message;
  appendJson(message, std::string(error.what()));
  message.flush();
  return Reply(replyHead(id) + R"("error":{"code":)" +
               std::to_string(static_cast<int>(error.code())) + R"(,"message":)" + message.text() +
               "}}");
}

Reply unreadableReply(Unreadable reason) {
  switch (reason) {
  case Unreadable::tooLong:
    return errorReply({}, {ErrorCode::invalidRequest, "Invalid request: message too long"});
  case Unreadable::noMemory:
    return internalError(std::bad_alloc());
  case Unreadable::noLength:
    return errorReply({}, {ErrorCode::parseError, "Parse error: no valid Content-Length"});
  case Unreadable::cutShort:
    break;
  }
  return errorReply({}, {ErrorCode::parseError, "Parse error: message cut short"});
}

template <typename T>
bool isA(const Var& value) {
  return value.type() == typeid(T);
}

/// Throws an Error for an element of a text that is not a request, whatever its `id`.
void checkRequest(const Object::Ptr& request) {
  const auto require = [](bool holds, const char* message) {
    if (!holds) {
      throw Error(ErrorCode::invalidRequest, std::string("Invalid request: ") + message);
    }
  };
  require(!request.isNull(), "not an object");
  const auto version = request->get("jsonrpc");
  require(isA<std::string>(version) && version.extract<std::string>() == "2.0",
          R"("jsonrpc" must be "2.0")");
  require(isA<std::string>(request->get("method")), R"("method" must be a string)");
  const auto params = request->get("params");
  require(!request->has("params") || isA<Object::Ptr>(params) || isA<Array::Ptr>(params),
          R"("params" must be an object)");
}

/// The params of a request that checkRequest accepted. Fields have names, so an array is rejected.
Object::Ptr paramsOf(const Object& request) {
  const auto params = request.get("params");
  if (isA<Array::Ptr>(params)) {
    throw Error(ErrorCode::invalidParams, "Invalid params: not an object");
  }
  return params.isEmpty() ? Poco::makeShared<Object>() : params.extract<Object::Ptr>();
}

/// Executes a request that checkRequest accepted. Every failure becomes the reply.
Reply execute(const Api& api, const Id& id, const Object& request) {
  const auto failed = [&](const std::string& cause) {
    return errorReply(id, {ErrorCode::internalError, "Internal error" + cause});
  };
  try {
    return resultReply(id, api.execute(request.getValue<std::string>("method"), paramsOf(request)));
  } catch (const Error& e) {
    return errorReply(id, e);
  } catch (const Poco::Exception& e) {
    return failed(": " + e.displayText());
  } catch (const std::exception& e) {
    return failed(std::string(": ") + e.what());
  } catch (...) {
    return failed("");
  }
}

/// Executes one request of a text. Returns nullopt for a notification.
std::optional<Reply> reply(const Api& api, const ObjectWithText& request) {
  Id id;
  try {
    if (request.memberText) {
      id = Id(*request.memberText);
    }
    checkRequest(request.object);
  } catch (const Error& e) {
    return errorReply(id, e);
  }
  auto result = execute(api, id, *request.object);
  return request.memberText ? std::optional(std::move(result)) : std::nullopt;
}

} // namespace

Reply internalError(const std::exception& failure) {
  return errorReply({},
                    {ErrorCode::internalError, std::string("Internal error: ") + failure.what()});
}

void Reply::writeTo(Output& out) const {
  out.append(head_);
  if (!response_.isNull()) {
    appendJson(out, response_);
  }
  out.append(tail_);
}

bool Batch::execute(Output& out) const {
  char separator = '[';
  forEachElement(text_, ID, [&](const ObjectWithText& request) {
    if (const auto element = reply(*api_, request)) {
      out.append(std::exchange(separator, ','));
      element->writeTo(out);
    }
  });
  if (separator == '[') {
    return false;
  }
  out.append(']');
  return true;
}

Answer answer(const Api& api, const Incoming& incoming) {
  if (const auto* reason = std::get_if<Unreadable>(&incoming)) {
    return unreadableReply(*reason);
  }
  const auto& text = std::get<Text>(incoming);
  try {
    if (!isArray(text.bytes)) {
      return reply(api, parseObject(text, ID));
    }
    if (countElements(text) > 0) {
      return Batch(api, text);
    }
    return errorReply({}, {ErrorCode::invalidRequest, "Invalid request: empty batch"});
  } catch (const JsonError& e) {
    return errorReply({}, {ErrorCode::parseError, std::string("Parse error: ") + e.what()});
  } catch (const std::exception& e) {
    return internalError(e);
  }
}

} // namespace connector::host
