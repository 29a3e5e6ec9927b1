#pragma once

#include "support/JsonText.h"

#include <Poco/JSON/Array.h>
#include <Poco/String.h>

#include <array>
#include <cstddef>
#include <stdexcept>
#include <string>

namespace connector::test {

enum class Does { describe, read, list, change };

/// A request with a placeholder for the path under test.
struct Request {
  const char* type;
  const char* params; // "@" is the path, "#" a directory with a file a.txt and a directory sub
  Does does;

  [[nodiscard]] std::string with(const std::string& path, const std::string& own) const {
    return Poco::replace(Poco::replace(std::string(params), std::string("@"), path),
                         std::string("#"), own);
  }
};

/// Each of the nine requests, with the path in each place where it can be.
inline constexpr std::array<Request, 15> REQUESTS{{
    {"CreateFile", R"({"file":{"location":"@","contents":"x"},"updateIfExists":true})",
     Does::change},
    {"CreateFile", R"({"file":{"location":"@","isDirectory":true}})", Does::change},
    {"OpenFile", R"({"path":"@"})", Does::read},
    {"OpenOrCreateFile", R"({"path":"@"})", Does::read},
    {"UpdateFile", R"({"file":{"location":"@","contents":"x"}})", Does::change},
    {"CloseFile", R"({"file":{"location":"@","contents":"x"},"updateFile":true})", Does::change},
    {"CloseFile", R"({"file":{"location":"@"}})", Does::describe},
    {"RenameFile", R"({"originalFileInfo":"@","newFileInfo":"#/new"})", Does::change},
    {"RenameFile", R"({"originalFileInfo":"#/a.txt","newFileInfo":"@"})", Does::change},
    {"RenameFile", R"({"originalFileInfo":"#/sub","newFileInfo":"@"})", Does::change},
    {"MoveFile", R"({"srcPath":"@","destPath":"#/sub"})", Does::change},
    {"MoveFile", R"({"srcPath":"#/a.txt","destPath":"@"})", Does::change},
    {"MoveFile", R"({"srcPath":"#/sub","destPath":"@"})", Does::change},
    {"DeleteFile", R"({"path":"@"})", Does::change},
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
