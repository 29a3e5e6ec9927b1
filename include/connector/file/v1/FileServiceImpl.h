#pragma once

#include <connector/file/v1/Export.h>
#include <connector/file/v1/FileService.h>

#include <mutex>

namespace connector::file::v1 {

/// The file operations on the local file system. Keeps no state between calls. `getPtr` requires
/// that a std::shared_ptr owns the object.
class CONNECTOR_FILE_EXPORT FileServiceImpl : public FileService {
public:
  FileServiceImpl();
  ~FileServiceImpl() override;
  FileServiceImpl(const FileServiceImpl&) = delete;
  FileServiceImpl& operator=(const FileServiceImpl&) = delete;

  Future<FileInfo> create(File&& file, bool overwrite) override;
  Future<File> openOrCreate(const ustring& path) override;
  Future<File> open(const ustring& path) override;
  Future<File> read(const ustring& path) override;
  Future<FileInfo> update(File&& file) override;
  Future<FileInfo> close(File&& file) override;
  Future<FileInfo> close(const ustring& path) override;
  Future<FileInfo> rename(const ustring& from, const ustring& to) override;
  Future<FileInfo> move(const ustring& from, const ustring& to) override;
  Future<FileInfo> remove(const ustring& path) override;
  Future<FileInfo> info(const ustring& path) override;
  Future<std::vector<FileInfo>> list(const ustring& path) override;
  Future<bool> exists(const fl::filesystem::upath& path) override;
  std::shared_ptr<FileService> getPtr() override;

private:
  std::mutex mutex_; // part of the object's binary layout; no operation locks it
};

} // namespace connector::file::v1
