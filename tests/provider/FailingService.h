#pragma once

#include <connector/file/v1/FileServiceImpl.h>

#include <exception>
#include <vector>

namespace connector::file::v1::test {

/// Fails in every operation that a request calls: by turns it throws and returns a failed Future. A
/// listing may succeed.
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

  std::exception_ptr exception;
  bool lists = false;

private:
  template <typename T>
  Future<T> fail() {
    thrown_ = !thrown_;
    if (thrown_) {
      std::rethrow_exception(exception);
    }
    return makeFailedFuture<T>(exception);
  }

  bool thrown_ = false;
};

} // namespace connector::file::v1::test
