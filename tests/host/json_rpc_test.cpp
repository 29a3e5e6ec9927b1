#include "host/JsonRpc.h"

#include <Poco/Exception.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace connector::host {

namespace {

using Poco::JSON::Object;

/// Answers `echo` with its params and fails in the way that any other type is named for.
class Double {
public:
  Outcome answer(const std::string& type, const Object::Ptr& params) {
    carriedOut += type + " ";
    if (type == "echo") {
      return params;
    }
    if (type == "params") {
      return Refusal{Refusal::Reason::params, R"(Can not convert "a")"};
    }
    if (type == "delivery") {
      return Refusal{Refusal::Reason::delivery, "Service exists but is not running."};
    }
    if (type == "bad_alloc") {
      throw std::bad_alloc();
    }
    if (type == "poco") {
      throw Poco::NotFoundException("this");
    }
    if (type == "std") {
      throw std::logic_error("that");
    }
    if (type == "int") {
      throw 1;
    }
    return Refusal{Refusal::Reason::unknownType, "Unknown message type: " + type};
  }

  std::string carriedOut;
};

class JsonRpcTest : public testing::Test {
protected:
  std::string answer(const Incoming& incoming) {
    const JsonRpc protocol(
        [this](const auto& type, const auto& params) { return api.answer(type, params); });
    return protocol.answer(incoming).value_or("(none)");
  }

  Double api;
};

std::string error(const std::string& id, const std::string& code, const std::string& text) {
  return R"({"jsonrpc":"2.0","id":)" + id + R"(,"error":{"code":)" + code + R"(,"message":")" +
         text + "\"}}";
}

std::string result(const std::string& id, const std::string& object) {
  return R"({"jsonrpc":"2.0","id":)" + id + R"(,"result":)" + object + "}";
}

std::string echo(const std::string& id, const std::string& params) {
  return R"({"jsonrpc":"2.0","id":)" + id + R"(,"method":"echo","params":)" + params + "}";
}

std::string request(const std::string& method) {
  return R"({"jsonrpc":"2.0","id":7,"method":")" + method + "\"}";
}

std::string nested(std::size_t depth) {
  return std::string(depth, '[') + std::string(depth, ']');
}

} // namespace

TEST_F(JsonRpcTest, ResultIsTheResponse) {
  EXPECT_EQ(answer(echo("1", R"({"b":{"c":[1,{}]},"a":null})")),
            result("1", R"({"a":null,"b":{"c":[1,{}]}})"));
  EXPECT_EQ(answer(R"({"id":1,"method":"echo","jsonrpc":"2.0","more":[]})"), result("1", "{}"));
}

TEST_F(JsonRpcTest, StringsSurvive) {
  const std::string text = R"("\u0000\u0001\b\t\n\u000B\f\r\u001F\"\\ é€😀")";
  EXPECT_EQ(answer(echo("1", "{" + text + ":1}")).find('\n'), std::string::npos);
  EXPECT_EQ(answer(echo("1", R"({"s":)" + text + "}")), result("1", R"({"s":)" + text + "}"));
  EXPECT_EQ(answer(echo("1", R"({"s":"\ud83d\ude00\u00e9\/"})")), result("1", R"({"s":"😀é/"})"));
}

TEST_F(JsonRpcTest, IdIsEchoedAsItCame) {
  for (const std::string id :
       {"0", "-1", "9007199254740993", "18446744073709551615", "18446744073709551616",
        "-123456789012345678901234567890", "1.50", "1e5", "-0", R"("")", R"("a\"}\\")",
        R"("\u00e9")", R"("é")", "null"}) {
    EXPECT_EQ(answer(echo(id, "{}")), result(id, "{}"));
    EXPECT_EQ(answer("[" + echo(" " + id + "\t", R"({"id":5,"s":"]"})") + ", 1]"),
              "[" + result(id, R"({"id":5,"s":"]"})") + "," +
                  error("null", "-32600", "Invalid request: not an object") + "]");
  }
  EXPECT_EQ(answer(R"({"jsonrpc":"2.0","\u0069d":8,"method":"echo"})"), result("8", "{}"));
}

TEST_F(JsonRpcTest, UnparsableTextIsRefused) {
  const std::vector<std::string> texts{
      "",
      "]",
      "1,2",
      "1],[2",
      "{",
      "nonsense",
      "\"open",
      "{}{}",
      "{} x",
      "{},",
      "[1,]",
      R"({"a":1,})",
      "{a:1}",
      R"({"a" 1})",
      "[01]",
      "[1.]",
      "[NaN]",
      "[1e400]",
      R"(["\x"])",
      R"(["\u12"])",
      "/**/{}",
      "{}//",
      R"(["\ud800"])",
      R"(["\udc00"])",
      R"(["\ud800\u0041"])",
      "[\"a\nb\"]",
      std::string("{}\0", 3),
      std::string("[\"\0\"]", 5),
      "\xEF\xBB\xBF{}",
      "{}\xFF",
      "\xFF{}",
      "[\"\xFF\"]",
      "{\"\xC3\":1}",
      "[\"\xC0\xAF\"]",
      "[\"\xED\xA0\x80\"]",
      "[\"\xF4\x90\x80\x80\"]",
      "[\xC3\xA9]",
      nested(129),
      nested(10000),
      std::string(1000000, '['),
      std::string(1000000, '{'),
  };
  const std::string prefix =
      R"({"jsonrpc":"2.0","id":null,"error":{"code":-32700,"message":"Parse error: )";
  for (const auto& text : texts) {
    const auto reply = answer(text);
    EXPECT_EQ(reply.substr(0, prefix.size()), prefix) << text.substr(0, 100);
    EXPECT_TRUE(std::all_of(reply.begin(), reply.end(), [](char c) { return c >= ' '; })) << reply;
  }
  EXPECT_EQ(api.carriedOut, "");
}

TEST_F(JsonRpcTest, NestingIsAllowedTo128Levels) {
  EXPECT_EQ(answer(echo("1", R"({"a":)" + nested(126) + "}")),
            result("1", R"({"a":)" + nested(126) + "}"));
  EXPECT_NE(answer(echo("1", R"({"a":)" + nested(127) + "}")).find("-32700"), std::string::npos);
}

TEST_F(JsonRpcTest, IntegersBeyond64BitsAreReadAsDoubles) {
  EXPECT_EQ(answer(echo("1", R"({"a":18446744073709551615,"b":-9223372036854775808})")),
            result("1", R"({"a":18446744073709551615,"b":-9223372036854775808})"));
  EXPECT_EQ(answer(echo("1", R"({"a":[18446744073709551616,-9223372036854775809]})")),
            result("1", R"({"a":[1.8446744073709552e+19,-9.223372036854776e+18]})"));
  EXPECT_EQ(answer(echo("1", R"({"a":"\\\"18446744073709551616"})")),
            result("1", R"({"a":"\\\"18446744073709551616"})"));
}

TEST_F(JsonRpcTest, WhatIsNotARequestIsRefused) {
  const auto refused = [](const std::string& id, const std::string& text) {
    return error(id, "-32600", "Invalid request: " + text);
  };
  const std::string notObject = refused("null", "not an object");
  const std::string badVersion = R"(\"jsonrpc\" must be \"2.0\")";
  const std::string badMethod = R"(\"method\" must be a string)";
  const std::string badParams = R"(\"params\" must be an object)";
  const std::string badId = refused("null", R"(\"id\" must be a string, a number or null)");
  const std::vector<std::pair<std::string, std::string>> rows{
      {"1", notObject},
      {" \"text\" ", notObject},
      {"null", notObject},
      {"[]", refused("null", "empty batch")},
      {"[[]]", "[" + notObject + "]"},
      {"{}", refused("null", badVersion)},
      {R"({"id":3,"method":"echo"})", refused("3", badVersion)},
      {R"({"jsonrpc":2.0,"id":3,"method":"echo"})", refused("3", badVersion)},
      {R"({"jsonrpc":"2.00","id":3,"method":"echo"})", refused("3", badVersion)},
      {R"({"jsonrpc":"2.0","id":"3"})", refused("\"3\"", badMethod)},
      {R"({"jsonrpc":"2.0","method":1})", refused("null", badMethod)},
      {R"({"jsonrpc":"2.0","id":3,"method":null})", refused("3", badMethod)},
      {R"({"jsonrpc":"2.0","id":3,"method":"echo","params":null})", refused("3", badParams)},
      {R"({"jsonrpc":"2.0","id":3,"method":"echo","params":"a"})", refused("3", badParams)},
      {R"({"jsonrpc":"2.0","id":true,"method":"echo"})", badId},
      {R"({"jsonrpc":"2.0","id":{},"method":"echo"})", badId},
      {R"({"jsonrpc":"2.0","id":[1],"method":"echo"})", badId},
  };
  for (const auto& [text, reply] : rows) {
    EXPECT_EQ(answer(text), reply) << text;
  }
  EXPECT_EQ(answer(Unreadable::tooLong), refused("null", "message too long"));
  EXPECT_EQ(api.carriedOut, "");
}

TEST_F(JsonRpcTest, EachFailureHasItsCode) {
  const std::vector<std::pair<std::string, std::string>> rows{
      {request("n\\u00e9"), error("7", "-32601", "Unknown message type: n\u00e9")},
      {request("params"), error("7", "-32602", R"(Can not convert \"a\")")},
      {request("delivery"), error("7", "-32000", "Service exists but is not running.")},
      {request("bad_alloc"), error("7", "-32603", "Internal error: std::bad_alloc")},
      {request("poco"), error("7", "-32603", "Internal error: Not found: this")},
      {request("std"), error("7", "-32603", "Internal error: that")},
      {request("int"), error("7", "-32603", "Internal error")},
      {echo("7", "[]"), error("7", "-32602", "Invalid params: not an object")},
  };
  for (const auto& [text, reply] : rows) {
    EXPECT_EQ(answer(text), reply) << text;
  }
  EXPECT_EQ(answer(Unreadable::noLength),
            error("null", "-32700", "Parse error: no valid Content-Length"));
  EXPECT_EQ(answer(Unreadable::cutShort),
            error("null", "-32700", "Parse error: message cut short"));
}

TEST_F(JsonRpcTest, NotificationsAreCarriedOutAndNotAnswered) {
  for (const std::string method : {"echo", "params", "int"}) {
    EXPECT_EQ(answer(R"({"jsonrpc":"2.0","method":")" + method + "\"}"), "(none)");
  }
  EXPECT_EQ(answer(R"({"jsonrpc":"2.0","method":"echo","params":[]})"), "(none)");
  EXPECT_EQ(answer(R"([{"jsonrpc":"2.0","method":"echo","params":{"id":1}}])"), "(none)");
  EXPECT_EQ(api.carriedOut, "echo params int echo ");
}

TEST_F(JsonRpcTest, BatchIsAnsweredInOrderAsOneArray) {
  EXPECT_EQ(answer("[" + echo("2", "{}") + R"(,{"jsonrpc":"2.0","method":"int"},)" +
                   request("std") + "," + echo("1", R"({"a":"],["})") + "]"),
            "[" + result("2", "{}") + "," + error("7", "-32603", "Internal error: that") + "," +
                result("1", R"({"a":"],["})") + "]");
  EXPECT_EQ(api.carriedOut, "echo int std echo ");
}

} // namespace connector::host
