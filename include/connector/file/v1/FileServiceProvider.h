#pragma once

#include <connector/file/v1/Export.h>
#include <connector/file/v1/Future.h>
#include <connector/file/v1/Messages.h>
#include <connector/file/v1/ServiceDelivery.h>

#include <memory>

namespace connector::file::v1 {

/// Handles file requests. A hosting framework calls the generic `handle` of ServiceProviderAPI,
/// which passes the request to the overload of `handle` for its type.
///
/// An overload takes ownership of its request. The Future holds the response; a failed operation is
/// a response with a fault. If the request is null, the Future holds std::invalid_argument. Only
/// the generic `handle` checks whether the provider is running.
class CONNECTOR_FILE_EXPORT FileServiceProvider
    : public ServiceProviderAPI<FileServiceProvider>,
      public std::enable_shared_from_this<FileServiceProvider> {
public:
  using FutureResponse = Future<std::unique_ptr<connector::Message>>;
  using ServiceProviderAPI<FileServiceProvider>::handle;

  virtual FutureResponse handle(std::unique_ptr<ListFolder>&& request, Address&& address,
                                std::shared_ptr<Context>&& context) = 0;
  virtual FutureResponse handle(std::unique_ptr<DeleteFile>&& request, Address&& address,
                                std::shared_ptr<Context>&& context) = 0;
  virtual FutureResponse handle(std::unique_ptr<MoveFile>&& request, Address&& address,
                                std::shared_ptr<Context>&& context) = 0;
  virtual FutureResponse handle(std::unique_ptr<RenameFile>&& request, Address&& address,
                                std::shared_ptr<Context>&& context) = 0;
  virtual FutureResponse handle(std::unique_ptr<CloseFile>&& request, Address&& address,
                                std::shared_ptr<Context>&& context) = 0;
  virtual FutureResponse handle(std::unique_ptr<UpdateFile>&& request, Address&& address,
                                std::shared_ptr<Context>&& context) = 0;
  virtual FutureResponse handle(std::unique_ptr<OpenFile>&& request, Address&& address,
                                std::shared_ptr<Context>&& context) = 0;
  virtual FutureResponse handle(std::unique_ptr<OpenOrCreateFile>&& request, Address&& address,
                                std::shared_ptr<Context>&& context) = 0;
  virtual FutureResponse handle(std::unique_ptr<CreateFile>&& request, Address&& address,
                                std::shared_ptr<Context>&& context) = 0;
};

} // namespace connector::file::v1
