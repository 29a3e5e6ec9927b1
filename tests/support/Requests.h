#pragma once

#include "support/JsonText.h"

#include <Poco/JSON/Array.h>
#include <Poco/JSON/Object.h>
#include <Poco/String.h>

#include <array>
#include <cstddef>
#include <stdexcept>
#include <string>

namespace connector::test {

/// `take`: a link at the path is itself renamed, replaced or deleted. `move`: a link to a directory
/// is itself moved.
enum class Does { describe, read, list, write, take, move };

/// A request with a place for the path under test.
struct Request {
  const char* type;
  const char* params; // "@" is the path, "#" a directory with a file a.txt and a directory sub
  Does does;

  [[nodiscard]] std::string with(const std::string& path, const std::string& own) const {
    return Poco::replace(Poco::replace(std::string(params), std::string("@"), path),
                         std::string("#"), own);
  }
};

/// The nine, with the path in each of their places.
inline constexpr std::array<Request, 15> REQUESTS{{
    {"CreateFile", R"({"file":{"location":"@","contents":"x"},"updateIfExists":true})",
     Does::write},
    {"CreateFile", R"({"file":{"location":"@","isDirectory":true}})", Does::write},
    {"OpenFile", R"({"path":"@"})", Does::read},
    {"OpenOrCreateFile", R"({"path":"@"})", Does::read},
    {"UpdateFile", R"({"file":{"location":"@","contents":"x"}})", Does::write},
    {"CloseFile", R"({"file":{"location":"@","contents":"x"},"updateFile":true})", Does::write},
    {"CloseFile", R"({"file":{"location":"@"}})", Does::describe},
    {"RenameFile", R"({"originalFileInfo":"@","newFileInfo":"#/new"})", Does::take},
    {"RenameFile", R"({"originalFileInfo":"#/a.txt","newFileInfo":"@"})", Does::take},
    {"RenameFile", R"({"originalFileInfo":"#/sub","newFileInfo":"@"})", Does::take},
    {"MoveFile", R"({"srcPath":"@","destPath":"#/sub"})", Does::move},
    {"MoveFile", R"({"srcPath":"#/a.txt","destPath":"@"})", Does::write},
    {"MoveFile", R"({"srcPath":"#/sub","destPath":"@"})", Does::write},
    {"DeleteFile", R"({"path":"@"})", Does::take},
    {"ListFolder", R"({"path":"@"})", Does::list},
}};

inline constexpr const Request& openFile = REQUESTS[2];
inline constexpr const Request& listFolder = REQUESTS[14];

/// Throws if the answer is not a response.
inline std::size_t countFaults(const Poco::JSON::Object& answer) {
  const auto result = answer.getObject("result");
  if (result.isNull() || !result->isArray("messageFaults")) {
    throw std::runtime_error("no response: " + textOf(answer));
  }
  return result->getArray("messageFaults")->size();
}

} // namespace connector::test
