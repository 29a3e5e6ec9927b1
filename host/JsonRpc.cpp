#include "JsonRpc.h"

#include "Json.h"
#include "JsonWriter.h"
#include "MessageScanner.h"

#include <Poco/Exception.h>
#include <Poco/JSON/Array.h>

#include <algorithm>
#include <new>
#include <stdexcept>
#include <string_view>
#include <typeinfo>
#include <utility>

namespace connector::host {

namespace {

using Poco::Dynamic::Var;
using Poco::JSON::Array;
using Poco::JSON::Object;

constexpr std::string_view ID = "id";

constexpr std::size_t LONGEST_ID = 1024;
constexpr std::size_t LONGEST_METHOD = 1024;
constexpr std::size_t MOST_ELEMENTS = 10'000;

Error invalidRequest(const std::string& cause) {
  return {ErrorCode::invalidRequest, "Invalid request: " + cause};
}

Error internalError(const std::string& cause) {
  return {ErrorCode::internalError, "Internal error" + cause};
}

/// The members of every reply up to the result or error. The reply to a text whose `id` is unknown
/// has null.
std::string replyHead(const std::optional<std::string>& id) {
  return R"({"jsonrpc":"2.0","id":)" + id.value_or("null") + ",";
}

Reply resultReply(const std::optional<std::string>& id, const Object::Ptr& response) {
  if (response.isNull()) {
    return Reply(replyHead(id) + R"("result":null})");
  }
  return {replyHead(id) + R"("result":)", response, "}"};
}

std::string jsonOf(const Var& value) {
  StringOutput text;
  appendJson(text, value);
  text.flush();
  return std::move(text.text());
}

Reply errorReply(const std::optional<std::string>& id, const Error& error) {
  const auto message = jsonOf(std::string(error.what()));
  const auto data = error.data().isNull() ? "" : R"(,"data":)" + jsonOf(error.data());
  return Reply(replyHead(id) + R"("error":{"code":)" +
               std::to_string(static_cast<int>(error.code())) + R"(,"message":)" + message + data +
               "}}");
}

/// Throws an Error unless the JSON text of an `id` can be returned in a reply.
void checkId(std::string_view json) {
  if (json != "null" && json.find_first_of("\"-0123456789") != 0) {
    throw invalidRequest(R"("id" must be a string, a number or null)");
  }
  if (json.size() > LONGEST_ID) {
    throw invalidRequest(R"("id" is too long)");
  }
}

/// Returns nullopt unless a MessageScanner has found a valid `id`.
std::optional<std::string> validId(const std::string& scanned) {
  try {
    auto id = parseObject(Text(R"({"id":)" + scanned + "}"), ID).memberText;
    checkId(id.value());
    return id;
  } catch (const std::runtime_error&) {
    return std::nullopt;
  }
}

/// The reply to a text that is not JSON. A line with only an opening bracket begins a text that is
/// written over several lines.
Reply parseErrorReply(std::string_view text, const std::string& cause) {
  const bool isPretty = text == "{" || text == "[";
  MessageScanner scanner;
  scanner.scan(text);
  return errorReply(
      validId(scanner.id()),
      {ErrorCode::parseError,
       "Parse error: " + cause + (isPretty ? "; one JSON text per line; use `jq -c`" : "")});
}

Reply unreadableReply(const Unreadable& text) {
  const auto id = validId(text.id);
  switch (text.reason) {
  case Unreadable::Reason::tooLong:
    return errorReply(id, invalidRequest("message too long"));
  case Unreadable::Reason::noMemory:
    return errorReply(id, internalError(std::string(": ") + std::bad_alloc().what()));
  case Unreadable::Reason::noLength:
    return errorReply(id, {ErrorCode::parseError, "Parse error: no valid Content-Length"});
  case Unreadable::Reason::cutShort:
    break;
  }
  return errorReply(id, {ErrorCode::parseError, "Parse error: message cut short"});
}

template <typename T>
bool isA(const Var& value) {
  return value.type() == typeid(T);
}

/// Throws an Error for an element of a text that is not a request, whatever its `id`.
void checkRequest(const Object::Ptr& request) {
  const auto require = [](bool holds, const char* message) {
    if (!holds) {
      throw invalidRequest(message);
    }
  };
  require(!request.isNull(), "not an object");
  const auto version = request->get("jsonrpc");
  require(isA<std::string>(version) && version.extract<std::string>() == "2.0",
          R"("jsonrpc" must be "2.0")");
  const auto method = request->get("method");
  require(isA<std::string>(method), R"("method" must be a string)");
  require(method.extract<std::string>().size() <= LONGEST_METHOD, R"("method" is too long)");
  const auto params = request->get("params");
  require(params.isEmpty() || isA<Object::Ptr>(params) || isA<Array::Ptr>(params),
          R"("params" must be an object)");
}

Task parseRequest(const ObjectWithText& request) {
  std::optional<std::string> id;
  try {
    if (request.memberText) {
      checkId(*request.memberText);
      id = request.memberText;
    }
    checkRequest(request.object);
  } catch (const Error& e) {
    return errorReply(id, e);
  }
  return Request(id, request.object);
}

Task parseText(const Text& text) {
  if (!isArray(text.bytes)) {
    return parseRequest(parseObject(text, ID));
  }
  const auto count = countElements(text);
  if (count == 0 || count > MOST_ELEMENTS) {
    return errorReply({}, invalidRequest(count == 0 ? "empty batch" : "too long a batch"));
  }
  return Batch(text);
}

/// Executes the requests of a batch and collects their replies.
class BatchExecution {
public:
  BatchExecution(const Api& api, const Limits& limits)
      : api_(api)
      , limits_(limits)
      , replies_(limits.batchReply) {}

  void execute(const Task& element) {
    const auto* request = std::get_if<Request>(&element);
    if (request != nullptr && isFull_) {
      add(request->refuse(internalError(": not executed, the batch's reply is too long")));
    } else if (!add(host::execute(api_, element, limits_))) {
      isFull_ = true;
      add(request == nullptr ? std::get<Reply>(element)
                             : request->refuse(internalError(
                                   ": executed, but the batch's reply would be too long")));
    }
  }

  std::optional<Reply> reply() && {
    if (replies_.text().empty()) {
      return std::nullopt;
    }
    return Reply(std::move(replies_.text()), nullptr, "]");
  }

private:
  /// Returns false if the reply would be too long. Once it was, further replies are errors, which
  /// are always added.
  bool add(const std::optional<Reply>& reply) {
    if (!reply) {
      return true;
    }
    const auto before = replies_.text().size();
    try {
      replies_.append(before == 0 ? '[' : ',');
      reply->writeTo(replies_);
      replies_.flush();
      return true;
    } catch (const std::length_error&) {
      replies_.cutBack(before);
      return false;
    }
  }

  const Api& api_;
  const Limits& limits_;
  StringOutput replies_;
  bool isFull_ = false;
};

std::optional<Reply> executeBatch(const Api& api, const Batch& batch, const Limits& limits) {
  try {
    BatchExecution execution(api, limits);
    forEachElement(batch.text(), ID, [&](const ObjectWithText& element) {
      execution.execute(parseRequest(element));
    });
    return std::move(execution).reply();
  } catch (const std::bad_alloc& e) {
    return errorReply({}, internalError(std::string(": ") + e.what()));
  }
}

/// The methods of the connection itself.
bool isControl(const Protocol& protocol, const std::string& method) {
  return method == protocol.cancellation ||
         (protocol.hasShutdown && (method == SHUTDOWN || method == EXIT));
}

} // namespace

Error cancelled() {
  return {ErrorCode::cancelled, "Cancelled"};
}

void Reply::writeTo(Output& out) const {
  out.append(head_);
  if (!response_.isNull()) {
    appendJson(out, response_);
  }
  out.append(tail_);
}

/// Fields have names, so an array is only accepted if it is empty.
Object::Ptr Request::params() const {
  const auto params = members_->get("params");
  if (isA<Object::Ptr>(params)) {
    return params.extract<Object::Ptr>();
  }
  if (isA<Array::Ptr>(params) && !params.extract<Array::Ptr>()->empty()) {
    throw Error(ErrorCode::invalidParams, "Invalid params: not an object");
  }
  return Poco::makeShared<Object>();
}

std::optional<Reply> Request::execute(const Api& api) const {
  const auto failed = [this](const std::string& cause) { return refuse(internalError(cause)); };
  try {
    const auto type = method();
    const bool control = isControl(api.protocol(), type);
    const auto response = control ? Object::Ptr() : api.execute(type, params());
    return id_ ? std::optional(resultReply(id_, response)) : std::nullopt;
  } catch (const Error& e) {
    return refuse(e);
  } catch (const Poco::Exception& e) {
    return failed(": " + e.displayText());
  } catch (const std::exception& e) {
    return failed(std::string(": ") + e.what());
  } catch (...) {
    return failed("");
  }
}

std::optional<Reply> Request::refuse(const Error& reason) const {
  return id_ ? std::optional(errorReply(id_, reason)) : std::nullopt;
}

bool Request::isNamedBy(const Request& cancellation, const char* key) const {
  const auto params = cancellation.members_->get("params");
  return id_ && isA<Object::Ptr>(params) &&
         jsonOf(params.extract<Object::Ptr>()->get(key)) == jsonOf(members_->get(ID.data()));
}

void Batch::keep() {
  kept_.reserve(text_.bytes.size() + Text::PADDING);
  kept_.assign(text_.bytes.begin(), text_.bytes.end());
  text_ = Text({kept_.data(), kept_.size()}, true);
}

Task parse(const Incoming& incoming) {
  if (const auto* unreadable = std::get_if<Unreadable>(&incoming)) {
    return unreadableReply(*unreadable);
  }
  const auto& text = std::get<Text>(incoming);
  try {
    return parseText(text);
  } catch (const JsonError& e) {
    return parseErrorReply(text.bytes, e.what());
  } catch (const std::exception& e) {
    return errorReply({}, internalError(std::string(": ") + e.what()));
  }
}

std::optional<Reply> execute(const Api& api, const Task& task, const Limits& limits) {
  if (const auto* request = std::get_if<Request>(&task)) {
    return limits.stopped() ? request->refuse(cancelled()) : request->execute(api);
  }
  if (const auto* batch = std::get_if<Batch>(&task)) {
    return api.protocol().hasBatches
               ? executeBatch(api, *batch, limits)
               : errorReply({}, invalidRequest("this protocol has no batches"));
  }
  return std::get<Reply>(task);
}

} // namespace connector::host
