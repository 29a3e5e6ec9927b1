#pragma once

#include <connector/file/v1/Export.h>
#include <connector/file/v1/FileFutures.h>
#include <connector/file/v1/Messages.h>
#include <connector/file/v1/ServiceDelivery.h>

#include <memory>

namespace connector::file::v1 {

/// The operations that the file requests are delivered to. Each answers with the response message
/// of its request, failures included: a response with a fault.
class CONNECTOR_FILE_EXPORT FileServiceProvider
    : public ServiceProviderAPI<FileServiceProvider>,
      public std::enable_shared_from_this<FileServiceProvider> {
public:
  using Answer = Future<std::unique_ptr<connector::Message>>;
  using ServiceProviderAPI<FileServiceProvider>::handle;

  virtual Answer handle(std::unique_ptr<ListFolder>&& request, Address&& address,
                        std::shared_ptr<Context>&& context) = 0;
  virtual Answer handle(std::unique_ptr<DeleteFile>&& request, Address&& address,
                        std::shared_ptr<Context>&& context) = 0;
  virtual Answer handle(std::unique_ptr<MoveFile>&& request, Address&& address,
                        std::shared_ptr<Context>&& context) = 0;
  virtual Answer handle(std::unique_ptr<RenameFile>&& request, Address&& address,
                        std::shared_ptr<Context>&& context) = 0;
  virtual Answer handle(std::unique_ptr<CloseFile>&& request, Address&& address,
                        std::shared_ptr<Context>&& context) = 0;
  virtual Answer handle(std::unique_ptr<UpdateFile>&& request, Address&& address,
                        std::shared_ptr<Context>&& context) = 0;
  virtual Answer handle(std::unique_ptr<OpenFile>&& request, Address&& address,
                        std::shared_ptr<Context>&& context) = 0;
  virtual Answer handle(std::unique_ptr<OpenOrCreateFile>&& request, Address&& address,
                        std::shared_ptr<Context>&& context) = 0;
  virtual Answer handle(std::unique_ptr<CreateFile>&& request, Address&& address,
                        std::shared_ptr<Context>&& context) = 0;
};

} // namespace connector::file::v1
