#include "Server.h"
#include "tests/support/JsonText.h"

#include <Poco/Base64Decoder.h>
#include <Poco/JSON/Array.h>
#include <Poco/JSON/Object.h>
#include <Poco/JSON/Parser.h>

#include <charconv>
#include <iterator>
#include <sstream>
#include <string_view>
#include <utility>
#include <vector>

namespace connector::bench {

namespace {

using connector::test::toBase64;
using Poco::JSON::Object;

enum class Framing { line, contentLength };

struct Request {
  std::string bytes;
  std::string replyStart;
};

std::string fromBase64(const std::string& text) {
  std::istringstream stream(text);
  Poco::Base64Decoder decoder(stream);
  return {std::istreambuf_iterator<char>(decoder), {}};
}

Object fileObject(const Batch& batch, const Job& job) {
  Object file;
  file.set("location", job.path);
  file.set("contents", batch.isText ? batch.contents : toBase64(batch.contents));
  if (!batch.isText) {
    file.set("encoding", "base64");
  }
  return file;
}

std::pair<const char*, Object> methodAndParams(const Batch& batch, const Job& job) {
  Object params;
  switch (batch.verb) {
  case Verb::open:
  case Verb::openTogether:
    params.set("path", job.path);
    return {"OpenFile", params};
  case Verb::list:
    params.set("path", job.path);
    return {"ListFolder", params};
  case Verb::create:
    params.set("file", fileObject(batch, job));
    return {"CreateFile", params};
  case Verb::update:
    params.set("file", fileObject(batch, job));
    return {"UpdateFile", params};
  case Verb::rename:
    params.set("originalFileInfo", job.path);
    params.set("newFileInfo", job.after);
    return {"RenameFile", params};
  case Verb::move:
    params.set("srcPath", job.path);
    params.set("destPath", std::filesystem::path(job.after).parent_path().string());
    return {"MoveFile", params};
  case Verb::remove:
    params.set("path", job.path);
    return {"DeleteFile", params};
  }
  throw std::logic_error("no such verb");
}

/// A service that takes our messages over JSON-RPC.
class JsonServer : public Server {
public:
  JsonServer(const char* name, Framing framing, const std::string& program,
             const Poco::Process::Args& arguments, Waiting waiting)
      : Server(name)
      , child_(program, arguments, waiting)
      , framing_(framing) {}

  std::function<void()> prepare(const Batch& batch) override {
    std::vector<Request> requests;
    for (const Job& job : batch.jobs) {
      requests.push_back(makeRequest(batch, job));
    }
    return [this, requests = std::move(requests)] {
      for (const Request& request : requests) {
        exchange(request);
      }
    };
  }

  [[nodiscard]] Decoded decode(const Batch& batch) const override {
    const auto reply = Poco::JSON::Parser().parse(std::string(reply_)).extract<Object::Ptr>();
    const Object::Ptr result = reply->getObject("result");
    Decoded decoded;
    if (batch.verb == Verb::open || batch.verb == Verb::openTogether) {
      const Object::Ptr file = result->getObject("file");
      const auto contents = file->getValue<std::string>("contents");
      const bool isText = file->getValue<std::string>("encoding") == "utf-8";
      decoded.contents = isText ? contents : fromBase64(contents);
      decoded.size = file->getValue<std::uint64_t>("size");
      return decoded;
    }
    if (batch.verb == Verb::list) {
      for (const auto& entry : *result->getArray("folderContents")) {
        const auto& info = entry.extract<Object::Ptr>();
        decoded.sizes[info->getValue<std::string>("name")] = info->getValue<std::uint64_t>("size");
      }
      return decoded;
    }
    decoded.size = result->getObject(batch.verb == Verb::rename ? "newFileInfo" : "fileInfo")
                       ->getValue<std::uint64_t>("size");
    return decoded;
  }

private:
  Request makeRequest(const Batch& batch, const Job& job) {
    const auto [method, params] = methodAndParams(batch, job);
    const std::string id = std::to_string(++lastId_);
    std::ostringstream body;
    body << R"({"jsonrpc":"2.0","id":)" << id << R"(,"method":"connector/v1/)" << method
         << R"(","params":)";
    params.stringify(body);
    body << '}';
    const std::string replyStart = R"({"jsonrpc":"2.0","id":)" + id + R"(,"result":{)";
    if (framing_ == Framing::line) {
      return {body.str() + "\n", replyStart};
    }
    const auto length = std::to_string(body.str().size());
    return {"Content-Length: " + length + "\r\n\r\n" + body.str(), replyStart};
  }

  void exchange(const Request& request) {
    child_.send(request.bytes);
    received_ = 0;
    reply_ = framing_ == Framing::line ? receiveLine() : receiveBody();
    // The faults follow the contents, so they are searched from the end.
    if (reply_.compare(0, request.replyStart.size(), request.replyStart) != 0 ||
        reply_.rfind(R"("messageFaults":[])") == std::string_view::npos) {
      throw WrongReply("replies " + std::string(reply_.substr(0, 500)));
    }
  }

  /// No other reply is outstanding, so nothing follows the end of the line.
  std::string_view receiveLine() {
    do {
      receiveMore();
    } while (buffer_[received_ - 1] != '\n');
    return {buffer_.data(), received_};
  }

  std::string_view receiveBody() {
    constexpr std::string_view key = "Content-Length: ";
    constexpr std::string_view end = "\r\n\r\n";
    std::size_t bodyStart = 0;
    do {
      receiveMore();
      bodyStart = std::string_view(buffer_.data(), received_).find(end);
    } while (bodyStart == std::string_view::npos);
    bodyStart += end.size();
    std::size_t length = 0;
    std::from_chars(buffer_.data() + key.size(), buffer_.data() + bodyStart, length);
    while (received_ < bodyStart + length) {
      receiveMore();
    }
    return {buffer_.data() + bodyStart, length};
  }

  void receiveMore() {
    constexpr std::size_t pipeCapacity = 65536;
    if (buffer_.size() - received_ < pipeCapacity) {
      buffer_.resize(2 * buffer_.size() + pipeCapacity);
    }
    received_ += child_.receive(buffer_.data() + received_, buffer_.size() - received_);
  }

  Child child_;
  Framing framing_;
  int lastId_ = 0;
  std::vector<char> buffer_; // never shrinks, so that it grows only for the first long reply
  std::size_t received_ = 0;
  std::string_view reply_;
};

} // namespace

std::unique_ptr<Server> startConnectorHost(Waiting waiting) {
  return std::make_unique<JsonServer>("connector-host", Framing::line, CONNECTOR_HOST_PROGRAM,
                                      Poco::Process::Args{}, waiting);
}

std::unique_ptr<Server> startNodeService(const std::string& script, Waiting waiting) {
  return std::make_unique<JsonServer>("Node.js", Framing::contentLength, "node",
                                      Poco::Process::Args{script}, waiting);
}

} // namespace connector::bench
