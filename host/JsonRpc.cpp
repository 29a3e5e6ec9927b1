#include "JsonRpc.h"

#include "Json.h"
#include "Limits.h"
#include "TextScanner.h"

#include <Poco/Exception.h>
#include <Poco/JSON/Array.h>

#include <algorithm>
#include <new>
#include <string_view>
#include <typeinfo>

namespace connector::host {

namespace {

using Poco::Dynamic::Var;
using Poco::JSON::Array;
using Poco::JSON::Object;

constexpr std::string_view ID = "id";
constexpr auto NONE = std::string_view::npos;

const std::string UNKNOWN_ID = "null";

Error invalidRequest(const std::string& cause) {
  return {ErrorCode::invalidRequest, "Invalid request: " + cause};
}

Error internalError(const std::string& cause) {
  return {ErrorCode::internalError, "Internal error: " + cause};
}

Reply errorReply(const std::string& id, const Error& error) {
  auto object =
      makeObject({{"code", static_cast<int>(error.code)}, {"message", std::string(error.what())}});
  if (!error.data.isNull()) {
    object->set("data", error.data);
  }
  return {id, "error", object};
}

/// Throws an Error unless the JSON text of an `id` can be returned in a reply.
void checkId(std::string_view json) {
  constexpr std::string_view starts = "\"-0123456789n"; // of a string, a number or null
  if (starts.find(json.front()) == NONE) {
    throw invalidRequest(R"("id" must be a string, a number or null)");
  }
  if (json.size() > MAX_ID) {
    throw invalidRequest(R"("id" is too long)");
  }
}

/// Returns the `id` that a TextScanner has found, or null if it is invalid or empty.
std::string validId(const std::string& scanned) {
  try {
    auto id = parseObject(Text(R"({"id":)" + scanned + "}"), ID).memberText.value();
    checkId(id);
    return id;
  } catch (const std::runtime_error&) {
    return UNKNOWN_ID;
  }
}

/// The reply to a text that could not be parsed.
Reply parseErrorReply(std::string_view text, const Error& error) {
  TextScanner scanner;
  scanner.scan(text);
  return errorReply(validId(scanner.id()), error);
}

/// A line with only an opening bracket begins a text that is written over several lines.
bool isFirstLine(std::string_view text) {
  return text.find_first_of("{[") == 0 && text.find_first_not_of(" \t\r", 1) == NONE;
}

Reply unreadableReply(const Unreadable& text) {
  const auto id = validId(text.id);
  switch (text.reason) {
  case Unreadable::Reason::tooLong:
    return errorReply(id, invalidRequest("message too long"));
  case Unreadable::Reason::noMemory:
    return errorReply(id, internalError(std::bad_alloc().what()));
  case Unreadable::Reason::noLength:
    return errorReply(id, {ErrorCode::parseError, "Parse error: no valid Content-Length"});
  case Unreadable::Reason::cutShort:
    return errorReply(id, {ErrorCode::parseError, "Parse error: message cut short"});
  }
  throw std::logic_error("unknown reason");
}

template <typename T>
bool isA(const Var& value) {
  return value.type() == typeid(T);
}

/// Throws an Error unless the value is a request. checkId checks its `id`.
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
  require(method.extract<std::string>().size() <= MAX_METHOD, R"("method" is too long)");
  const auto params = request->get("params");
  require(params.isEmpty() || isA<Object::Ptr>(params) || isA<Array::Ptr>(params),
          R"("params" must be an object)");
}

Task parseRequest(const ParsedObject& request) {
  std::string id = UNKNOWN_ID;
  try {
    if (request.memberText) {
      checkId(*request.memberText);
      id = *request.memberText;
    }
    checkRequest(request.object);
  } catch (const Error& e) {
    return errorReply(id, e);
  }
  return Request(request.memberText, request.object);
}

Task parseText(const Text& text) {
  const auto count = countElements(text);
  if (!count) {
    return parseRequest(parseObject(text, ID));
  }
  if (*count == 0) {
    return errorReply(UNKNOWN_ID, invalidRequest("empty batch"));
  }
  if (*count > MAX_REQUESTS_IN_BATCH) {
    return errorReply(UNKNOWN_ID, invalidRequest("too many requests in a batch"));
  }
  return Batch{text};
}

/// The replies to the requests of a batch.
struct BatchReplies {
  const std::size_t limit; // in bytes
  std::string text = {};
  bool isFull = false;

  /// Returns false if the reply exceeds the limit or the memory. Once full, takes
  /// every reply, because only short errors follow.
  bool add(const std::optional<Reply>& reply) {
    if (!reply) {
      return true;
    }
    if (!isFull && reply->size() >= limit - text.size()) {
      return false;
    }
    try {
      text += (text.empty() ? "[" : ",") + reply->text();
      return true;
    } catch (const std::bad_alloc&) {
      return false;
    }
  }
};

/// In bytes. After a longer reply to a batch, the allocator keeps several times as much free
/// memory.
constexpr std::size_t LONG_REPLY = 32UL * 1024 * 1024;

std::optional<Reply> executeBatch(const Api& api, const Batch& batch,
                                  const ExecutionLimits& limits) {
  const auto size = batch.text.bytes().size();
  BatchReplies replies{limits.maxBatch - std::min(limits.maxBatch, size)};
  const auto executeElement = [&](const ParsedObject& element) {
    const auto task = parseRequest(element);
    const auto* request = std::get_if<Request>(&task);
    if (replies.isFull && request != nullptr) {
      replies.add(request->replyWith(internalError("not executed, the batch's reply is too long")));
    } else if (!replies.add(execute(api, task, limits))) {
      replies.isFull = true;
      replies.add(request == nullptr ? std::get<Reply>(task)
                                     : request->replyWith(internalError(
                                           "executed, but the batch's reply would be too long")));
    }
  };
  try {
    forEachElement(batch.text, ID, executeElement);
    replies.text += replies.text.empty() ? "" : "]";
    if (replies.text.size() > LONG_REPLY) {
      releaseFreeMemory();
    }
    return replies.text.empty() ? std::nullopt : std::optional(Reply(std::move(replies.text)));
  } catch (const std::bad_alloc& e) {
    return errorReply(UNKNOWN_ID, internalError(e.what()));
  }
}

} // namespace

Error cancelledError() {
  return {ErrorCode::cancelled, "Cancelled"};
}

Reply::Reply(const std::string& id, const std::string& member, Object::Ptr value)
    : head_(R"({"jsonrpc":"2.0","id":)" + id + ",\"" + member + "\":")
    , value_(std::move(value)) {
  head_ += value_.isNull() ? "null}" : "";
}

std::size_t Reply::size() const {
  return head_.size() + (value_.isNull() ? 0 : jsonSize(value_) + 1);
}

std::string Reply::text() const {
  return value_.isNull() ? head_ : head_ + writeJson(value_) + '}';
}

void Reply::writeTo(Output& out) const {
  out.append(head_);
  if (!value_.isNull()) {
    appendJson(out, value_);
    out.append('}');
  }
}

/// An array has no names, so it is only accepted if it is empty.
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
  try {
    const auto type = method();
    const auto protocol = api.protocol();
    const bool isOfConnection = type == protocol.cancellation ||
                                (protocol.hasShutdown && (type == SHUTDOWN || type == EXIT));
    const auto response = isOfConnection ? Object::Ptr() : api.execute(type, params());
    return id_ ? std::optional(Reply(*id_, "result", response)) : std::nullopt;
  } catch (const Error& e) {
    return replyWith(e);
  } catch (const Poco::Exception& e) {
    return replyWith(internalError(e.displayText()));
  } catch (const std::exception& e) {
    return replyWith(internalError(e.what()));
  } catch (...) {
    return replyWith(internalError("unknown failure"));
  }
}

std::optional<Reply> Request::replyWith(const Error& error) const {
  return id_ ? std::optional(errorReply(*id_, error)) : std::nullopt;
}

// Compares the values, because the same id has several texts: "a" and "\u0061".
bool Request::isNamedBy(const Request& cancellation, const char* key) const {
  const auto params = cancellation.members_->get("params");
  return id_ && isA<Object::Ptr>(params) && !params.extract<Object::Ptr>()->isNull(key) &&
         writeJson(params.extract<Object::Ptr>()->get(key)) == writeJson(members_->get(ID.data()));
}

Task parse(const Incoming& incoming) {
  if (const auto* unreadable = std::get_if<Unreadable>(&incoming)) {
    return unreadableReply(*unreadable);
  }
  const auto& text = std::get<Text>(incoming);
  try {
    return parseText(text);
  } catch (const JsonError& e) {
    const char* hint = isFirstLine(text.bytes()) ? "; one JSON text per line; use `jq -c`" : "";
    return parseErrorReply(text.bytes(),
                           {ErrorCode::parseError, std::string("Parse error: ") + e.what() + hint});
  } catch (const std::exception& e) {
    return parseErrorReply(text.bytes(), internalError(e.what()));
  }
}

std::optional<Reply> execute(const Api& api, const Task& task, const ExecutionLimits& limits) {
  if (const auto* request = std::get_if<Request>(&task)) {
    return limits.isStopped() ? request->replyWith(cancelledError()) : request->execute(api);
  }
  if (const auto* batch = std::get_if<Batch>(&task)) {
    return api.protocol().hasBatches
               ? executeBatch(api, *batch, limits)
               : errorReply(UNKNOWN_ID, invalidRequest("this protocol has no batches"));
  }
  return std::get<Reply>(task);
}

} // namespace connector::host
