#include "host/JsonRpc.h"

#include <Poco/Exception.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace connector::host {

namespace {

using Poco::JSON::Object;

/// As an Api, returns the params of `echo` and throws an exception for any other type.
class JsonRpcTest : public testing::Test, public Api {
public:
  Object::Ptr execute(const std::string& type, const Object::Ptr& params) const override {
    executed += type + " ";
    const std::map<std::string, std::function<Object::Ptr()>> results{
        {"echo", [&] { return params; }},
        {"poco", []() -> Object::Ptr { throw Poco::NotFoundException("this"); }},
        {"std", []() -> Object::Ptr { throw std::logic_error("that"); }},
        {"int", []() -> Object::Ptr { throw 1; }}};
    return results.at(type)();
  }

protected:
  std::string answer(const Incoming& incoming) {
    const auto reply = host::execute(*this, parse(incoming), limits);
    return reply ? reply->text() : "(none)";
  }

  std::string answer(const std::string& text) { return answer(Incoming(Text(text))); }

  mutable std::string executed;
  ExecutionLimits limits{10'000'000, [] { return false; }};
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

TEST_F(JsonRpcTest, ReturnsTheResponse) {
  EXPECT_EQ(answer(R"({"id":1,"method":"echo","jsonrpc":"2.0","more":[]})"), result("1", "{}"));
  const std::string text = R"("\u0000\u0001\b\t\n\u000B\f\r\u001F\"\\ é€😀")";
  EXPECT_EQ(answer(echo("1", R"({"b":{"c":[1,{}]},"a":null,"s":)" + text + "}")),
            result("1", R"({"a":null,"b":{"c":[1,{}]},"s":)" + text + "}"));
}

// The writer searches texts in blocks of 16 bytes. The escapes occur at every position of a block.
TEST_F(JsonRpcTest, EscapesCharactersAtEveryPosition) {
  std::string text;
  for (std::size_t gap = 0; gap < 70; ++gap) {
    for (const char* const escape : {R"(\")", R"(\\)", R"(\u001F)"}) {
      text += std::string(gap, ' ') + escape + std::string(70 - gap, '~');
      const std::string object = R"({"s":")" + text + "\"}";
      ASSERT_EQ(answer(echo("1", object)), result("1", object));
    }
  }
}

TEST_F(JsonRpcTest, SkipsByteOrderMarksAtTheStart) {
  EXPECT_EQ(answer("\xEF\xBB\xBF" + echo("1", "{}")), result("1", "{}"));
  EXPECT_EQ(answer("\xEF\xBB\xBF\xEF\xBB\xBF[" + echo("1", "{}") + "]"),
            "[" + result("1", "{}") + "]");
}

TEST_F(JsonRpcTest, EchoesTheIdUnchanged) {
  for (const std::string id : {"-1", "18446744073709551616", "1.50", "-0", R"("")", R"("a\"}\\")",
                               R"("\u00e9")", R"("é")", "null"}) {
    EXPECT_EQ(answer(echo(id, "{}")), result(id, "{}"));
    EXPECT_EQ(answer("[" + echo(" " + id + "\t", R"({"id":5,"s":"]"})") + ", 1]"),
              "[" + result(id, R"({"id":5,"s":"]"})") + "," +
                  error("null", "-32600", "Invalid request: not an object") + "]");
  }
  EXPECT_EQ(answer(R"({"jsonrpc":"2.0","\u0069d":8,"method":"echo"})"), result("8", "{}"));
}

TEST_F(JsonRpcTest, RejectsTextThatIsNotJson) {
  const std::string prefix =
      R"({"jsonrpc":"2.0","id":null,"error":{"code":-32700,"message":"Parse error: )";
  for (const std::string text :
       {"", "1,2", "1],[2", "{", "nonsense", "\"open", "{}{}", "[1,]", "/**/{}", "[1e400]",
        "[\"\\x\"]", "[\"\\ud800\"]", "[\"a\nb\"]", "[\"a\":\"b\"]", "{\"a\":\"b\":1}",
        "{\"a\":nul}", " \xEF\xBB\xBF{}", "{}\xFF", "{\"\xC3\":1}"}) {
    const auto reply = answer(text);
    EXPECT_EQ(reply.substr(0, prefix.size()), prefix) << text.substr(0, 100);
    EXPECT_TRUE(std::all_of(reply.begin(), reply.end(), [](char c) { return c >= ' '; })) << reply;
  }
  EXPECT_EQ(executed, "");
}

TEST_F(JsonRpcTest, FindsTheIdInTextThatIsNotJson) {
  const std::vector<std::pair<std::string, std::string>> rows{
      {R"({"id":1,"params":"\ud800"})", "1"},
      {R"({"params":[{"id":1},"\\",{"\"id\":3":"\ud800"}], "id" : "a\"b" })", R"("a\"b")"},
      {R"({"id":-1.50,"params":)" + nested(129) + "}", "-1.50"},
      {R"({"params":{"id":1},"a":"id","b":"\ud800"})", "null"},
      {R"([{"id":1,"params":"\ud800"}])", "null"},
      {R"({"id":1 2,"a":"\ud800"})", "null"},
      {R"({"id":{"a":1},"a":"\ud800"})", "null"},
      {R"({"id":"\ud800"})", "null"},
      {R"({"id":1)", "null"},
      {R"({"id":")" + std::string(1022, 'x') + R"(","a"})", '"' + std::string(1022, 'x') + '"'},
      {R"({"id":")" + std::string(1023, 'x') + R"(","a"})", "null"}};
  for (const auto& [text, id] : rows) {
    const auto prefix = R"({"jsonrpc":"2.0","id":)" + id + R"(,"error":{"code":-32700)";
    EXPECT_EQ(answer(text).substr(0, prefix.size()), prefix) << text;
  }
}

TEST_F(JsonRpcTest, LimitsValuesTo100000) {
  std::string members;
  for (int member = 100'000; member < 199'996; ++member) { // the function echo adds four values
    members += (members.empty() ? "\"" : ",\"") + std::to_string(member) + "\":1";
  }
  const std::string most = echo("1", "{" + members + "}");
  EXPECT_EQ(answer(most), result("1", "{" + members + "}"));
  EXPECT_EQ(answer("[" + most + "," + most + "]"),
            "[" + answer(most) + "," + answer(most) + "]"); // each request has its own limit
  EXPECT_THAT(answer(echo("1", "{" + members + R"(,"a":{}})")),
              testing::HasSubstr("-32700,\"message\":\"Parse error: too many values"));
}

TEST_F(JsonRpcTest, LimitsElementsOfABatchTo10000) {
  std::string elements = "1";
  for (int count = 1; count < 10'000; ++count) {
    elements += ",1";
  }
  EXPECT_THAT(answer("[" + elements + "]"), testing::HasSubstr("not an object"));
  EXPECT_EQ(answer("[" + elements + ",1]"),
            error("null", "-32600", "Invalid request: too many requests in a batch"));
}

TEST_F(JsonRpcTest, LimitsNestingTo128Levels) {
  const std::string deep = R"({"a":)" + nested(126) + "}";
  EXPECT_EQ(answer(echo("1", deep)), result("1", deep));
  EXPECT_EQ(answer("[" + echo("1", R"({"a":)" + nested(125) + "}") + "]"),
            "[" + result("1", R"({"a":)" + nested(125) + "}") + "]");
  for (const auto& text : {nested(129), R"([{"a":)" + nested(127) + "}]"}) {
    EXPECT_THAT(answer(text), testing::HasSubstr("-32700"));
  }
}

TEST_F(JsonRpcTest, TurnsIntegersBeyond64BitsIntoDoubles) {
  const std::string unchanged = R"({"a":[18446744073709551615,-9223372036854775808],)"
                                R"("b":"\\\"18446744073709551616"})";
  EXPECT_EQ(answer(echo("1", unchanged)), result("1", unchanged));
  EXPECT_EQ(answer(echo("1", R"({"a":[18446744073709551616,-9223372036854775809]})")),
            result("1", R"({"a":[1.8446744073709552e+19,-9.223372036854776e+18]})"));
}

TEST_F(JsonRpcTest, ReportsEachFailureWithCodeAndText) {
  const auto invalidRequest = [](const std::string& id, const std::string& text) {
    return error(id, "-32600", "Invalid request: " + text);
  };
  const std::string badVersion = R"(\"jsonrpc\" must be \"2.0\")";
  const std::string badParams = R"(\"params\" must be an object)";
  const std::string badId = R"(\"id\" must be a string, a number or null)";
  using Reason = Unreadable::Reason;
  EXPECT_EQ(answer(Unreadable{Reason::tooLong, "\"a\""}),
            invalidRequest("\"a\"", "message too long"));
  EXPECT_EQ(answer(Unreadable{Reason::tooLong, "\"\xFF\""}),
            invalidRequest("null", "message too long"));
  EXPECT_EQ(answer(Unreadable{Reason::noLength, ""}),
            error("null", "-32700", "Parse error: no valid Content-Length"));
  EXPECT_EQ(answer(Unreadable{Reason::cutShort, "7"}),
            error("7", "-32700", "Parse error: message cut short"));
  const std::vector<std::pair<std::string, std::string>> rows{
      {"1", invalidRequest("null", "not an object")},
      {"[]", invalidRequest("null", "empty batch")},
      {R"({"jsonrpc":"2.00","id":3,"method":"echo"})", invalidRequest("3", badVersion)},
      {R"({"jsonrpc":"2.0","method":1})", invalidRequest("null", R"(\"method\" must be a string)")},
      {R"({"jsonrpc":"2.0","id":3,"method":"echo","params":"a"})", invalidRequest("3", badParams)},
      {R"({"jsonrpc":"2.0","id":true,"method":"echo"})", invalidRequest("null", badId)},
      {echo("7", "[0]"), error("7", "-32602", "Invalid params: not an object")},
      {echo("7", "[]"), result("7", "{}")},
      {echo("7", "null"), result("7", "{}")},
      {request("shutdown"), result("7", "null")},
      {request("poco"), error("7", "-32603", "Internal error: Not found: this")},
      {request("std"), error("7", "-32603", "Internal error: that")},
      {request("int"), error("7", "-32603", "Internal error: unknown failure")}};
  for (const auto& [text, reply] : rows) {
    EXPECT_EQ(answer(text), reply);
  }
  EXPECT_EQ(executed, "echo echo poco std int ");
}

TEST_F(JsonRpcTest, ExecutesNotificationsWithoutReply) {
  for (const std::string method : {"echo", "std", "int"}) {
    EXPECT_EQ(answer(R"({"jsonrpc":"2.0","method":")" + method + "\"}"), "(none)");
  }
  EXPECT_EQ(answer(R"({"jsonrpc":"2.0","method":"echo","params":[0]})"), "(none)");
  EXPECT_EQ(executed, "echo std int ");
}

TEST_F(JsonRpcTest, AnswersBatchInOrderAsOneArray) {
  EXPECT_EQ(answer("[" + echo("2", "{}") + R"(,{"jsonrpc":"2.0","method":"int"},)" +
                   request("std") + "," + echo("1", R"({"a":"],["})") + "]"),
            "[" + result("2", "{}") + "," + error("7", "-32603", "Internal error: that") + "," +
                result("1", R"({"a":"],["})") + "]");
  EXPECT_EQ(executed, "echo int std echo ");
}

TEST_F(JsonRpcTest, LimitsTheReplyToABatch) {
  const auto batch =
      "[" + echo("1", "{}") + "," + echo("2", R"({"a":1})") + "," + echo("3", "{}") + "]";
  const auto ask = [&](std::size_t limit) {
    limits.maxBatch = batch.size() + limit;
    executed.clear();
    return answer(batch);
  };
  const auto all = result("1", "{}") + "," + result("2", R"({"a":1})") + "," + result("3", "{}");
  EXPECT_EQ(ask(all.size() + 1), "[" + all + "]");
  EXPECT_EQ(
      ask(result("1", "{}").size() + result("2", "{}").size() + 2),
      "[" + result("1", "{}") + "," +
          error("2", "-32603",
                "Internal error: executed, but the batch's reply would be too long") +
          "," +
          error("3", "-32603", "Internal error: not executed, the batch's reply is too long") +
          "]");
  EXPECT_EQ(executed, "echo echo ");
}

TEST_F(JsonRpcTest, ExecutesNothingMoreOnceStopped) {
  limits.isStopped = [this] { return !executed.empty(); };
  EXPECT_EQ(answer("[" + echo("1", "{}") + "," + echo("2", "{}") + ",0]"),
            "[" + result("1", "{}") + "," + error("2", "-32800", "Cancelled") + "," +
                error("null", "-32600", "Invalid request: not an object") + "]");
  EXPECT_EQ(answer(request("echo")), error("7", "-32800", "Cancelled"));
  EXPECT_EQ(executed, "echo ");
}

} // namespace connector::host
