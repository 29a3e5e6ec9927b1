#pragma once

#include <connector/file/v1/Export.h>
#include <connector/file/v1/FileService.h>
#include <connector/file/v1/FileServiceProvider.h>

#include <memory>

namespace connector::file::v1 {

/// Answers the file requests with a FileService, on the thread that delivers them: every Future
/// that it returns has its result. Must be owned by a std::shared_ptr. Thread-safe.
class CONNECTOR_FILE_EXPORT FileServiceProviderImpl : public FileServiceProvider {
public:
  explicit FileServiceProviderImpl(std::shared_ptr<FileService> service);
  ~FileServiceProviderImpl() override;
  FileServiceProviderImpl(const FileServiceProviderImpl&) = delete;
  FileServiceProviderImpl& operator=(const FileServiceProviderImpl&) = delete;

  using FileServiceProvider::handle;

  Answer handle(std::unique_ptr<ListFolder>&& request, Address&& address,
                std::shared_ptr<Context>&& context) override;
  Answer handle(std::unique_ptr<DeleteFile>&& request, Address&& address,
                std::shared_ptr<Context>&& context) override;
  Answer handle(std::unique_ptr<MoveFile>&& request, Address&& address,
                std::shared_ptr<Context>&& context) override;
  Answer handle(std::unique_ptr<RenameFile>&& request, Address&& address,
                std::shared_ptr<Context>&& context) override;
  Answer handle(std::unique_ptr<CloseFile>&& request, Address&& address,
                std::shared_ptr<Context>&& context) override;
  Answer handle(std::unique_ptr<UpdateFile>&& request, Address&& address,
                std::shared_ptr<Context>&& context) override;
  Answer handle(std::unique_ptr<OpenFile>&& request, Address&& address,
                std::shared_ptr<Context>&& context) override;
  Answer handle(std::unique_ptr<OpenOrCreateFile>&& request, Address&& address,
                std::shared_ptr<Context>&& context) override;
  Answer handle(std::unique_ptr<CreateFile>&& request, Address&& address,
                std::shared_ptr<Context>&& context) override;

private:
  std::shared_ptr<FileService> fileService;
};

} // namespace connector::file::v1
