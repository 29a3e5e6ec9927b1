#pragma once

#include "support/ChildProcess.h"
#include "support/ScratchFolder.h"
#include "support/Snapshot.h"

#include <connector/file/v1/FileServiceException.h>
#include <connector/file/v1/FileServiceImpl.h>

#include <fl/filesystem/exceptions.h>
#include <fl/i18n/convert.h>

#include <boost/any.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <exception>
#include <filesystem>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <tuple>
#include <type_traits>
#include <unistd.h>
#include <utility>
#include <vector>

namespace connector::file::v1::test {

/// Condition, message and paths: what a FileServiceException tells apart from its id, which is
/// always the same.
using Refusal = std::tuple<std::string, ustring, std::vector<ustring>>;

/// "plain" and its text for a failure that is no FileServiceException; "ok", and "no" for a false,
/// for none.
template <typename T>
Refusal refusalOf(Future<T> future) {
  const fl::i18n::codecvt_ustring_to_string utf8("UTF-8", true);
  try {
    if constexpr (std::is_same_v<T, bool>) {
      return {future.get() ? "ok" : "no", {}, {}};
    }
    future.get();
    return {"ok", {}, {}};
  } catch (const FileServiceException& refusal) {
    EXPECT_EQ(refusal.getId(), "FileService.IOError");
    const std::string what = "An error occurred in the fileservice, FileService.IOError " +
                             fl::i18n::to_string(refusal.getMessage(), utf8);
    EXPECT_STREQ(refusal.what(), what.c_str());
    return {refusal.getCondition(), refusal.getMessage(), refusal.getPaths()};
  } catch (const std::runtime_error& error) {
    return {"plain", fl::i18n::to_ustring(error.what()), {}};
  }
}

/// How a call ends, in one word: as refusalOf, or the code of the platform exception that it threw.
template <typename Call>
std::string outcomeOf(const Call& call) {
  try {
    return std::get<0>(refusalOf(call()));
  } catch (const fl::filesystem::FsysExceptionBase& error) {
    return std::to_string(error.get_error_code());
  }
}

inline File fileAt(const ustring& location, std::string_view contents = {}) {
  return {FileInfo(location, false), DataBuffer(contents)};
}

inline File folderAt(const ustring& location) {
  return File(FileInfo(location, true));
}

template <typename T>
T attribute(const FileInfo& info, const std::string& key) {
  return boost::any_cast<T>(info.getAttribute(key));
}

/// A service and a folder of its own.
class FileServiceTest : public connector::test::ScratchFolder {
protected:
  /// Runs `body` in a child process whose current folder is the scratch folder, so that received
  /// and absolute paths differ.
  void inFolder(const std::function<void()>& body) const {
    connector::test::inChildProcess([&] {
      std::filesystem::current_path(folder());
      body();
    });
  }

  const ustring root = folder().u16string() + u"/";
  std::shared_ptr<FileService> service = std::make_shared<FileServiceImpl>();
};

/// Writes down the calls that reach it; lets the one about `failing` fail.
class RecordingService : public FileServiceImpl {
public:
  RecordingService() {
    failure.setException(std::make_exception_ptr(std::runtime_error("scripted")));
  }

  Future<FileInfo> create(File&& file, bool overwrite) override {
    const ustring path = file.getFileInfo().getLocation();
    const ustring kind = file.getFileInfo().isDirectory() ? u"folder " : u"file ";
    calls.push_back(u"create " + kind + path + (overwrite ? u" over" : u""));
    return path == failing ? failure.getFuture()
                           : FileServiceImpl::create(std::move(file), overwrite);
  }

  Future<File> read(const ustring& path) override {
    calls.push_back(u"read " + path);
    return FileServiceImpl::read(path);
  }

  Future<FileInfo> update(File&& file) override {
    calls.push_back(u"update " + file.getFileInfo().getLocation());
    return FileServiceImpl::update(std::move(file));
  }

  Future<FileInfo> move(const ustring& from, const ustring& to) override {
    calls.push_back(u"move " + from + u" " + to);
    return from == failing ? failure.getFuture() : FileServiceImpl::move(from, to);
  }

  std::vector<ustring> calls;
  ustring failing = u"nothing";
  Promise<FileInfo> failure;
};

} // namespace connector::file::v1::test
