#pragma once

#include <connector/file/v1/Export.h>
#include <connector/file/v1/Future.h>
#include <connector/file/v1/Messages.h>
#include <connector/file/v1/ServiceDelivery.h>

#include <memory>

namespace connector::file::v1 {

/// The interface to which file requests are delivered: one overload of `handle` for each type of
/// request, beside the generic `handle` of ServiceProviderAPI, which a hosting framework calls.
///
/// An overload takes over its request and returns a Future that holds the response to it; a failed
/// operation is a response with a fault. For a null request the Future holds std::invalid_argument.
/// An overload does not check whether the provider is running: only the generic `handle` does.
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
