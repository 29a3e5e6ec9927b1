#pragma once

#include <connector/file/v1/FileServiceImpl.h>

#include <exception>
#include <string>
#include <utility>
#include <vector>

namespace connector::file::v1::test {

enum class Failure { thrown, inFuture };

/// Fails in every operation that a request calls, but for a listing that is to succeed.
class FailingService : public FileServiceImpl {
public:
  Future<FileInfo> create(File&& /*file*/, bool /*overwrite*/) override { return fail<FileInfo>(); }

  Future<File> openOrCreate(const ustring& /*path*/) override { return fail<File>(); }

  Future<File> open(const ustring& /*path*/) override { return fail<File>(); }

  Future<FileInfo> update(File&& /*file*/) override { return fail<FileInfo>(); }

  Future<FileInfo> close(File&& /*file*/) override { return fail<FileInfo>(); }

  Future<FileInfo> close(const ustring& /*path*/) override { return fail<FileInfo>(); }

  Future<FileInfo> rename(const ustring& /*from*/, const ustring& /*to*/) override {
    return fail<FileInfo>();
  }

  Future<FileInfo> move(const ustring& /*from*/, const ustring& /*to*/) override {
    return fail<FileInfo>();
  }

  Future<FileInfo> remove(const ustring& /*path*/) override { return fail<FileInfo>(); }

  Future<FileInfo> info(const ustring& /*path*/) override { return fail<FileInfo>(); }

  Future<std::vector<FileInfo>> list(const ustring& /*path*/) override {
    return lists ? makeReadyFuture(std::vector<FileInfo>(2)) : fail<std::vector<FileInfo>>();
  }

  void failWith(std::exception_ptr exception, Failure how) {
    exception_ = std::move(exception);
    how_ = how;
  }

  bool lists = false;

private:
  template <typename T>
  Future<T> fail() {
    if (how_ == Failure::thrown) {
      std::rethrow_exception(exception_);
    }
    return makeFailedFuture<T>(exception_);
  }

  std::exception_ptr exception_;
  Failure how_ = Failure::thrown;
};

} // namespace connector::file::v1::test
