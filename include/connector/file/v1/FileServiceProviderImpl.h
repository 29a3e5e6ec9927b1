#pragma once

#include <connector/file/v1/Export.h>
#include <connector/file/v1/FileService.h>
#include <connector/file/v1/FileServiceProvider.h>

#include <memory>

namespace connector::file::v1 {

/// Executes file requests with a FileService. Every request is executed on the calling thread, so
/// the returned Future is resolved. Thread-safe. Must be owned by a std::shared_ptr.
///
/// Every failure of the file service becomes a response with one fault. `handle` throws
/// std::bad_alloc if there is not enough memory for that response.
class CONNECTOR_FILE_EXPORT FileServiceProviderImpl : public FileServiceProvider {
public:
  /// Throws std::invalid_argument if `service` is null.
  explicit FileServiceProviderImpl(std::shared_ptr<FileService> service);
  ~FileServiceProviderImpl() override;
  FileServiceProviderImpl(const FileServiceProviderImpl&) = delete;
  FileServiceProviderImpl& operator=(const FileServiceProviderImpl&) = delete;

  using FileServiceProvider::handle;

  FutureResponse handle(std::unique_ptr<ListFolder>&& request, Address&& address,
                        std::shared_ptr<Context>&& context) override;
  FutureResponse handle(std::unique_ptr<DeleteFile>&& request, Address&& address,
                        std::shared_ptr<Context>&& context) override;
  FutureResponse handle(std::unique_ptr<MoveFile>&& request, Address&& address,
                        std::shared_ptr<Context>&& context) override;
  FutureResponse handle(std::unique_ptr<RenameFile>&& request, Address&& address,
                        std::shared_ptr<Context>&& context) override;
  FutureResponse handle(std::unique_ptr<CloseFile>&& request, Address&& address,
                        std::shared_ptr<Context>&& context) override;
  FutureResponse handle(std::unique_ptr<UpdateFile>&& request, Address&& address,
                        std::shared_ptr<Context>&& context) override;
  FutureResponse handle(std::unique_ptr<OpenFile>&& request, Address&& address,
                        std::shared_ptr<Context>&& context) override;
  FutureResponse handle(std::unique_ptr<OpenOrCreateFile>&& request, Address&& address,
                        std::shared_ptr<Context>&& context) override;
  FutureResponse handle(std::unique_ptr<CreateFile>&& request, Address&& address,
                        std::shared_ptr<Context>&& context) override;

private:
  std::shared_ptr<FileService> fileService;
};

} // namespace connector::file::v1
