#include "Faults.h"
#include "Operations.h"

#include <connector/file/v1/FileServiceProviderImpl.h>

#include <fl/i18n/convert.h>

#include <tuple>
#include <utility>

namespace connector::file::v1 {

namespace {

using Answer = FileServiceProvider::Answer;
using common::v1::Version;

std::string toUtf8(const std::u16string& contextText) {
  std::string text =
      fl::i18n::to_string(contextText, fl::i18n::codecvt_ustring_to_string("UTF-8", true));
  return text.empty() ? "File operation failed" : text;
}

template <typename Op>
std::unique_ptr<connector::Message> respond(const std::string& uuid, typename Op::Payload&& payload,
                                            std::vector<Fault>&& faults) {
  return std::apply(
      [&](auto&... field) {
        return std::make_unique<typename Op::Answer>(uuid, std::move(field)..., std::move(faults),
                                                     Version::current());
      },
      payload);
}

/// Every handler: whatever happens to the request, its answer is one response.
template <typename Req>
Answer answer(FileService& service, const std::unique_ptr<Req>& request) {
  using Op = Operation<Req>;
  const RequestContext context = Op::context(*request);
  Promise<std::unique_ptr<connector::Message>> promise;
  try {
    promise.setValue(respond<Op>(request->getUuid(), Op::perform(service, *request), {}));
  } catch (...) {
    std::vector<Fault> faults{currentFault(toUtf8(context.text), context.paths)};
    promise.setValue(respond<Op>(request->getUuid(), {}, std::move(faults)));
  }
  return promise.getFuture();
}

} // namespace

FileServiceProviderImpl::FileServiceProviderImpl(std::shared_ptr<FileService> service)
    : fileService(std::move(service)) {}

FileServiceProviderImpl::~FileServiceProviderImpl() = default;

Answer FileServiceProviderImpl::handle(std::unique_ptr<ListFolder>&& request, Address&& /*address*/,
                                       std::shared_ptr<Context>&& /*context*/) {
  return answer(*fileService, request);
}

Answer FileServiceProviderImpl::handle(std::unique_ptr<DeleteFile>&& request, Address&& /*address*/,
                                       std::shared_ptr<Context>&& /*context*/) {
  return answer(*fileService, request);
}

Answer FileServiceProviderImpl::handle(std::unique_ptr<MoveFile>&& request, Address&& /*address*/,
                                       std::shared_ptr<Context>&& /*context*/) {
  return answer(*fileService, request);
}

Answer FileServiceProviderImpl::handle(std::unique_ptr<RenameFile>&& request, Address&& /*address*/,
                                       std::shared_ptr<Context>&& /*context*/) {
  return answer(*fileService, request);
}

Answer FileServiceProviderImpl::handle(std::unique_ptr<CloseFile>&& request, Address&& /*address*/,
                                       std::shared_ptr<Context>&& /*context*/) {
  return answer(*fileService, request);
}

Answer FileServiceProviderImpl::handle(std::unique_ptr<UpdateFile>&& request, Address&& /*address*/,
                                       std::shared_ptr<Context>&& /*context*/) {
  return answer(*fileService, request);
}

Answer FileServiceProviderImpl::handle(std::unique_ptr<OpenFile>&& request, Address&& /*address*/,
                                       std::shared_ptr<Context>&& /*context*/) {
  return answer(*fileService, request);
}

Answer FileServiceProviderImpl::handle(std::unique_ptr<OpenOrCreateFile>&& request,
                                       Address&& /*address*/,
                                       std::shared_ptr<Context>&& /*context*/) {
  return answer(*fileService, request);
}

Answer FileServiceProviderImpl::handle(std::unique_ptr<CreateFile>&& request, Address&& /*address*/,
                                       std::shared_ptr<Context>&& /*context*/) {
  return answer(*fileService, request);
}

} // namespace connector::file::v1
