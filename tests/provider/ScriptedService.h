#pragma once

#include <connector/file/v1/FileServiceImpl.h>

#include <cstddef>
#include <exception>
#include <string>
#include <utility>
#include <vector>

namespace connector::file::v1::test {

enum class Failure { thrown, inFuture };

/// Writes down the calls that reach it and answers each with a fixed result; from the call number
/// `firstFailing` on, with the failure.
class ScriptedService : public FileServiceImpl {
public:
  Future<FileInfo> create(File&& file, bool overwrite) override {
    return answer((overwrite ? u"create over " : u"create ") + textOf(std::move(file)), info_);
  }

  Future<File> openOrCreate(const ustring& path) override {
    return answer(u"openOrCreate " + path, file_);
  }

  Future<File> open(const ustring& path) override { return answer(u"open " + path, file_); }

  Future<FileInfo> update(File&& file) override {
    return answer(u"update " + textOf(std::move(file)), info_);
  }

  Future<FileInfo> close(File&& file) override {
    return answer(u"close " + textOf(std::move(file)), info_);
  }

  Future<FileInfo> close(const ustring& path) override { return answer(u"close " + path, info_); }

  Future<FileInfo> rename(const ustring& from, const ustring& to) override {
    return answer(u"rename " + from + u" " + to, info_);
  }

  Future<FileInfo> move(const ustring& from, const ustring& to) override {
    return answer(u"move " + from + u" " + to, info_);
  }

  Future<FileInfo> remove(const ustring& path) override { return answer(u"remove " + path, info_); }

  Future<FileInfo> info(const ustring& path) override { return answer(u"info " + path, info_); }

  Future<std::vector<FileInfo>> list(const ustring& path) override {
    return answer(u"list " + path, std::vector<FileInfo>{{u"/r/1", false}, {u"/r/2", true}});
  }

  void failWith(std::exception_ptr exception, Failure how, std::size_t firstFailing = 0) {
    calls.clear();
    failure_ = std::move(exception);
    how_ = how;
    firstFailing_ = firstFailing;
  }

  std::vector<ustring> calls;

private:
  static ustring textOf(const File&& file) {
    const auto contents = file.getContents().view();
    return file.getFileInfo().getLocation() + u": " + ustring(contents.begin(), contents.end());
  }

  template <typename T>
  Future<T> answer(const ustring& call, T result) {
    calls.push_back(call);
    if (failure_ == nullptr || calls.size() <= firstFailing_) {
      return makeReadyFuture<T>(std::move(result));
    }
    if (how_ == Failure::thrown) {
      std::rethrow_exception(failure_);
    }
    return makeFailedFuture<T>(failure_);
  }

  const FileInfo info_{u"/r/info", true};
  const File file_{FileInfo(u"/r/file", false), DataBuffer("contents")};
  std::exception_ptr failure_;
  Failure how_ = Failure::thrown;
  std::size_t firstFailing_ = 0;
};

} // namespace connector::file::v1::test
