#include "Delivery.h"
#include "Faults.h"

#include <connector/file/v1/FileServiceProviderImpl.h>

#include <exception>
#include <memory>
#include <stdexcept>
#include <string>
#include <text/Utf8.h>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

namespace connector::file::v1 {

namespace {

using FutureResponse = FileServiceProvider::FutureResponse;

/// The text and the paths of the fault for an exception other than FileServiceException.
struct FaultContext {
  std::u16string text;
  std::vector<std::u16string> paths;
};

/// The required text repeats the name right after the location, without a separator.
FaultContext fileContext(const File& file, const std::u16string& phrase) {
  const std::u16string& location = file.getFileInfo().getLocation();
  const std::u16string name = file.getFileInfo().getName();
  return {u"File: '" + location + name + phrase + name + u"'", {location, name}};
}

FaultContext pathContext(const std::u16string& prefix, const std::u16string& path,
                         const std::u16string& phrase) {
  return {prefix + path + phrase + path + u"'", {path}};
}

FaultContext twoPathContext(const std::u16string& source, const std::u16string& phrase,
                            const std::u16string& destination) {
  return {u"File: " + source + phrase + source + u"' to '" + destination + u"'",
          {source, destination}};
}

/// `payload` contains the response's own fields, in the order of its constructor.
template <typename Response, typename... Fields>
std::unique_ptr<connector::Message>
makeResponse(const std::string& uuid, std::tuple<Fields...> payload, std::vector<Fault> faults) {
  return std::apply(
      [&](Fields&... field) {
        return std::make_unique<Response>(uuid, std::move(field)..., std::move(faults),
                                          Version::current());
      },
      payload);
}

/// Executes a request. `contextOf` returns its FaultContext. `perform` calls the file service and
/// returns the response's payload. If it throws, the response has a fault and an empty payload.
template <typename Response, typename Req, typename ContextOf, typename Perform>
FutureResponse respond(std::unique_ptr<Req> request, const ContextOf& contextOf,
                       const Perform& perform) {
  using Payload = decltype(perform(*request));
  if (request == nullptr) {
    return makeFailedFuture<std::unique_ptr<connector::Message>>(
        std::make_exception_ptr(std::invalid_argument("The request is null.")));
  }
  const FaultContext context = contextOf(*request);
  Promise<std::unique_ptr<connector::Message>> promise;
  // Used if converting `context.text` throws or returns an empty text.
  std::string contextText = "File operation failed";
  try {
    if (std::string converted = text::toUtf8(context.text); !converted.empty()) {
      contextText = std::move(converted);
    }
    promise.setValue(makeResponse<Response>(request->getUuid(), perform(*request), {}));
  } catch (...) {
    promise.setValue(makeResponse<Response>(request->getUuid(), Payload(),
                                            {currentFault(contextText, context.paths)}));
  }
  return promise.getFuture();
}

} // namespace

static_assert(!std::is_abstract_v<FileServiceProviderImpl>, "A request has no handler.");

FileServiceProviderImpl::FileServiceProviderImpl(std::shared_ptr<FileService> service)
    : fileService(std::move(service)) {
  if (fileService == nullptr) {
    throw std::invalid_argument("The file service is null.");
  }
}

FileServiceProviderImpl::~FileServiceProviderImpl() = default;

FutureResponse FileServiceProviderImpl::handle(std::unique_ptr<CreateFile>&& request,
                                               Address&& /*address*/,
                                               std::shared_ptr<Context>&& /*context*/) {
  return respond<CreateFileResponse>(
      std::move(request),
      [](const auto& req) { return fileContext(req.file, u"': Error creating file: '"); },
      [this](auto& req) {
        return std::tuple(fileService->create(std::move(req.file), req.updateIfExists).get());
      });
}

FutureResponse FileServiceProviderImpl::handle(std::unique_ptr<OpenOrCreateFile>&& request,
                                               Address&& /*address*/,
                                               std::shared_ptr<Context>&& /*context*/) {
  return respond<OpenOrCreateFileResponse>(
      std::move(request),
      [](const auto& req) {
        return pathContext(u"File: ", req.path, u": Error opening or creating file: '");
      },
      [this](auto& req) { return std::tuple(fileService->openOrCreate(req.path).get()); });
}

FutureResponse FileServiceProviderImpl::handle(std::unique_ptr<OpenFile>&& request,
                                               Address&& /*address*/,
                                               std::shared_ptr<Context>&& /*context*/) {
  return respond<OpenFileResponse>(
      std::move(request),
      [](const auto& req) { return pathContext(u"File: ", req.path, u": Error opening file: '"); },
      [this](auto& req) { return std::tuple(fileService->open(req.path).get()); });
}

FutureResponse FileServiceProviderImpl::handle(std::unique_ptr<UpdateFile>&& request,
                                               Address&& /*address*/,
                                               std::shared_ptr<Context>&& /*context*/) {
  return respond<UpdateFileResponse>(
      std::move(request),
      [](const auto& req) { return fileContext(req.file, u"': Error in updating file: '"); },
      [this](auto& req) { return std::tuple(fileService->update(std::move(req.file)).get()); });
}

FutureResponse FileServiceProviderImpl::handle(std::unique_ptr<CloseFile>&& request,
                                               Address&& /*address*/,
                                               std::shared_ptr<Context>&& /*context*/) {
  return respond<CloseFileResponse>(
      std::move(request),
      [](const auto& req) { return fileContext(req.file, u"': Error in closing file: '"); },
      [this](auto& req) {
        return std::tuple(req.updateFile
                              ? fileService->close(std::move(req.file)).get()
                              : fileService->close(req.file.getFileInfo().getLocation()).get());
      });
}

FutureResponse FileServiceProviderImpl::handle(std::unique_ptr<RenameFile>&& request,
                                               Address&& /*address*/,
                                               std::shared_ptr<Context>&& /*context*/) {
  return respond<RenameFileResponse>(
      std::move(request),
      [](const auto& req) {
        return twoPathContext(req.originalFileInfo, u": Error in renaming file: '",
                              req.newFileInfo);
      },
      [this](auto& req) {
        return std::tuple(fileService->rename(req.originalFileInfo, req.newFileInfo).get());
      });
}

FutureResponse FileServiceProviderImpl::handle(std::unique_ptr<MoveFile>&& request,
                                               Address&& /*address*/,
                                               std::shared_ptr<Context>&& /*context*/) {
  return respond<MoveFileResponse>(
      std::move(request),
      [](const auto& req) {
        return twoPathContext(req.srcPath, u": Error moving file: '", req.destPath);
      },
      [this](auto& req) {
        FileInfo moved = fileService->move(req.srcPath, req.destPath).get();
        FileInfo source(req.srcPath, moved.isDirectory());
        return std::tuple(std::move(moved), std::move(source));
      });
}

FutureResponse FileServiceProviderImpl::handle(std::unique_ptr<DeleteFile>&& request,
                                               Address&& /*address*/,
                                               std::shared_ptr<Context>&& /*context*/) {
  return respond<DeleteFileResponse>(
      std::move(request),
      [](const auto& req) { return pathContext(u"File: ", req.path, u": Error deleting file: '"); },
      [this](auto& req) { return std::tuple(fileService->remove(req.path).get()); });
}

FutureResponse FileServiceProviderImpl::handle(std::unique_ptr<ListFolder>&& request,
                                               Address&& /*address*/,
                                               std::shared_ptr<Context>&& /*context*/) {
  return respond<ListFolderResponse>(
      std::move(request),
      [](const auto& req) {
        return pathContext(u"Folder: ", req.path, u": Error listing folder contents: '");
      },
      [this](auto& req) {
        std::vector<FileInfo> entries = fileService->list(req.path).get();
        return std::tuple(fileService->info(req.path).get(), std::move(entries));
      });
}

} // namespace connector::file::v1

namespace connector {

using file::v1::FileServiceProvider;

template class MessageAPI<file::v1::CreateFile, FileServiceProvider>;
template class MessageAPI<file::v1::OpenOrCreateFile, FileServiceProvider>;
template class MessageAPI<file::v1::OpenFile, FileServiceProvider>;
template class MessageAPI<file::v1::UpdateFile, FileServiceProvider>;
template class MessageAPI<file::v1::CloseFile, FileServiceProvider>;
template class MessageAPI<file::v1::RenameFile, FileServiceProvider>;
template class MessageAPI<file::v1::MoveFile, FileServiceProvider>;
template class MessageAPI<file::v1::DeleteFile, FileServiceProvider>;
template class MessageAPI<file::v1::ListFolder, FileServiceProvider>;

} // namespace connector
