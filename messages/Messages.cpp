#include <connector/file/v1/Messages.h>

#include <memory>
#include <utility>

namespace connector::file::v1 {

CreateFile::CreateFile(const std::string& uuid, File&& file, bool updateIfExists,
                       Version apiVersion)
    : common::v1::Message(uuid, apiVersion)
    , file(std::move(file))
    , updateIfExists(updateIfExists) {}

CreateFileResponse::CreateFileResponse(const std::string& uuid, FileInfo&& fileInfo,
                                       std::vector<Fault>&& faults, Version apiVersion)
    : common::v1::Response(uuid, std::move(faults), apiVersion)
    , fileInfo(std::move(fileInfo)) {}

OpenOrCreateFile::OpenOrCreateFile(const std::string& uuid, std::u16string&& path,
                                   Version apiVersion)
    : common::v1::Message(uuid, apiVersion)
    , path(std::move(path)) {}

OpenOrCreateFileResponse::OpenOrCreateFileResponse(const std::string& uuid, File&& file,
                                                   std::vector<Fault>&& faults, Version apiVersion)
    : common::v1::Response(uuid, std::move(faults), apiVersion)
    , file(std::move(file)) {}

OpenFile::OpenFile(const std::string& uuid, std::u16string&& path, Version apiVersion)
    : common::v1::Message(uuid, apiVersion)
    , path(std::move(path)) {}

OpenFileResponse::OpenFileResponse(const std::string& uuid, File&& file,
                                   std::vector<Fault>&& faults, Version apiVersion)
    : common::v1::Response(uuid, std::move(faults), apiVersion)
    , file(std::move(file)) {}

UpdateFile::UpdateFile(const std::string& uuid, File&& file, Version apiVersion)
    : common::v1::Message(uuid, apiVersion)
    , file(std::move(file)) {}

UpdateFileResponse::UpdateFileResponse(const std::string& uuid, FileInfo&& fileInfo,
                                       std::vector<Fault>&& faults, Version apiVersion)
    : common::v1::Response(uuid, std::move(faults), apiVersion)
    , fileInfo(std::move(fileInfo)) {}

CloseFile::CloseFile(const std::string& uuid, File&& file, bool updateFile, Version apiVersion)
    : common::v1::Message(uuid, apiVersion)
    , file(std::move(file))
    , updateFile(updateFile) {}

CloseFileResponse::CloseFileResponse(const std::string& uuid, FileInfo&& fileInfo,
                                     std::vector<Fault>&& faults, Version apiVersion)
    : common::v1::Response(uuid, std::move(faults), apiVersion)
    , fileInfo(std::move(fileInfo)) {}

RenameFile::RenameFile(const std::string& uuid, std::u16string&& originalFileInfo,
                       std::u16string&& newFileInfo, Version apiVersion)
    : common::v1::Message(uuid, apiVersion)
    , originalFileInfo(std::move(originalFileInfo))
    , newFileInfo(std::move(newFileInfo)) {}

RenameFileResponse::RenameFileResponse(const std::string& uuid, FileInfo&& newFileInfo,
                                       std::vector<Fault>&& faults, Version apiVersion)
    : common::v1::Response(uuid, std::move(faults), apiVersion)
    , newFileInfo(std::move(newFileInfo)) {}

MoveFile::MoveFile(const std::string& uuid, std::u16string&& srcPath, std::u16string&& destPath,
                   Version apiVersion)
    : common::v1::Message(uuid, apiVersion)
    , srcPath(std::move(srcPath))
    , destPath(std::move(destPath)) {}

MoveFileResponse::MoveFileResponse(const std::string& uuid, FileInfo&& fileInfo, FileInfo&& srcPath,
                                   std::vector<Fault>&& faults, Version apiVersion)
    : common::v1::Response(uuid, std::move(faults), apiVersion)
    , fileInfo(std::move(fileInfo))
    , srcPath(std::move(srcPath)) {}

DeleteFile::DeleteFile(const std::string& uuid, std::u16string&& path, Version apiVersion)
    : common::v1::Message(uuid, apiVersion)
    , path(std::move(path)) {}

DeleteFileResponse::DeleteFileResponse(const std::string& uuid, FileInfo&& fileInfo,
                                       std::vector<Fault>&& faults, Version apiVersion)
    : common::v1::Response(uuid, std::move(faults), apiVersion)
    , fileInfo(std::move(fileInfo)) {}

ListFolder::ListFolder(const std::string& uuid, std::u16string&& path, Version apiVersion)
    : common::v1::Message(uuid, apiVersion)
    , path(std::move(path)) {}

ListFolderResponse::ListFolderResponse(const std::string& uuid, FileInfo&& folder,
                                       std::vector<FileInfo>&& folderContents,
                                       std::vector<Fault>&& faults, Version apiVersion)
    : common::v1::Response(uuid, std::move(faults), apiVersion)
    , folder(std::move(folder))
    , folderContents(std::move(folderContents)) {}

OpenWithBrowser::OpenWithBrowser(const std::string& uuid, std::string&& uri, Version apiVersion)
    : common::v1::Message(uuid, apiVersion)
    , uri(std::move(uri)) {}

// Defined here to keep the virtual tables in the library.
CreateFile::~CreateFile() = default;
CreateFileResponse::~CreateFileResponse() = default;
OpenOrCreateFile::~OpenOrCreateFile() = default;
OpenOrCreateFileResponse::~OpenOrCreateFileResponse() = default;
OpenFile::~OpenFile() = default;
OpenFileResponse::~OpenFileResponse() = default;
UpdateFile::~UpdateFile() = default;
UpdateFileResponse::~UpdateFileResponse() = default;
CloseFile::~CloseFile() = default;
CloseFileResponse::~CloseFileResponse() = default;
RenameFile::~RenameFile() = default;
RenameFileResponse::~RenameFileResponse() = default;
MoveFile::~MoveFile() = default;
MoveFileResponse::~MoveFileResponse() = default;
DeleteFile::~DeleteFile() = default;
DeleteFileResponse::~DeleteFileResponse() = default;
ListFolder::~ListFolder() = default;
ListFolderResponse::~ListFolderResponse() = default;
OpenWithBrowser::~OpenWithBrowser() = default;

} // namespace connector::file::v1

namespace connector {

template class detail::SharedFutureState<std::unique_ptr<Message>>;
template class Future<std::unique_ptr<Message>>;
template class Promise<std::unique_ptr<Message>>;

} // namespace connector
