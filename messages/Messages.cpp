#include <connector/file/v1/Messages.h>

#include <utility>

namespace connector::file::v1 {

CreateFile::CreateFile(const std::string& uuid, File&& file, bool updateIfExists,
                       Version apiVersion)
    : common::v1::Message(uuid, apiVersion)
    , file(std::move(file))
    , updateIfExists(updateIfExists) {}

CreateFile::~CreateFile() = default;

CreateFileResponse::CreateFileResponse(const std::string& uuid, FileInfo&& fileInfo,
                                       std::vector<Fault>&& faults, Version apiVersion)
    : common::v1::Response(uuid, std::move(faults), apiVersion)
    , fileInfo(std::move(fileInfo)) {}

CreateFileResponse::~CreateFileResponse() = default;

OpenOrCreateFile::OpenOrCreateFile(const std::string& uuid, std::u16string&& path,
                                   Version apiVersion)
    : common::v1::Message(uuid, apiVersion)
    , path(std::move(path)) {}

OpenOrCreateFile::~OpenOrCreateFile() = default;

OpenOrCreateFileResponse::OpenOrCreateFileResponse(const std::string& uuid, File&& file,
                                                   std::vector<Fault>&& faults, Version apiVersion)
    : common::v1::Response(uuid, std::move(faults), apiVersion)
    , file(std::move(file)) {}

OpenOrCreateFileResponse::~OpenOrCreateFileResponse() = default;

OpenFile::OpenFile(const std::string& uuid, std::u16string&& path, Version apiVersion)
    : common::v1::Message(uuid, apiVersion)
    , path(std::move(path)) {}

OpenFile::~OpenFile() = default;

OpenFileResponse::OpenFileResponse(const std::string& uuid, File&& file,
                                   std::vector<Fault>&& faults, Version apiVersion)
    : common::v1::Response(uuid, std::move(faults), apiVersion)
    , file(std::move(file)) {}

OpenFileResponse::~OpenFileResponse() = default;

UpdateFile::UpdateFile(const std::string& uuid, File&& file, Version apiVersion)
    : common::v1::Message(uuid, apiVersion)
    , file(std::move(file)) {}

UpdateFile::~UpdateFile() = default;

UpdateFileResponse::UpdateFileResponse(const std::string& uuid, FileInfo&& fileInfo,
                                       std::vector<Fault>&& faults, Version apiVersion)
    : common::v1::Response(uuid, std::move(faults), apiVersion)
    , fileInfo(std::move(fileInfo)) {}

UpdateFileResponse::~UpdateFileResponse() = default;

CloseFile::CloseFile(const std::string& uuid, File&& file, bool updateFile, Version apiVersion)
    : common::v1::Message(uuid, apiVersion)
    , file(std::move(file))
    , updateFile(updateFile) {}

CloseFile::~CloseFile() = default;

CloseFileResponse::CloseFileResponse(const std::string& uuid, FileInfo&& fileInfo,
                                     std::vector<Fault>&& faults, Version apiVersion)
    : common::v1::Response(uuid, std::move(faults), apiVersion)
    , fileInfo(std::move(fileInfo)) {}

CloseFileResponse::~CloseFileResponse() = default;

RenameFile::RenameFile(const std::string& uuid, std::u16string&& originalFileInfo,
                       std::u16string&& newFileInfo, Version apiVersion)
    : common::v1::Message(uuid, apiVersion)
    , originalFileInfo(std::move(originalFileInfo))
    , newFileInfo(std::move(newFileInfo)) {}

RenameFile::~RenameFile() = default;

RenameFileResponse::RenameFileResponse(const std::string& uuid, FileInfo&& newFileInfo,
                                       std::vector<Fault>&& faults, Version apiVersion)
    : common::v1::Response(uuid, std::move(faults), apiVersion)
    , newFileInfo(std::move(newFileInfo)) {}

RenameFileResponse::~RenameFileResponse() = default;

MoveFile::MoveFile(const std::string& uuid, std::u16string&& srcPath, std::u16string&& destPath,
                   Version apiVersion)
    : common::v1::Message(uuid, apiVersion)
    , srcPath(std::move(srcPath))
    , destPath(std::move(destPath)) {}

MoveFile::~MoveFile() = default;

MoveFileResponse::MoveFileResponse(const std::string& uuid, FileInfo&& fileInfo, FileInfo&& srcPath,
                                   std::vector<Fault>&& faults, Version apiVersion)
    : common::v1::Response(uuid, std::move(faults), apiVersion)
    , fileInfo(std::move(fileInfo))
    , srcPath(std::move(srcPath)) {}

MoveFileResponse::~MoveFileResponse() = default;

DeleteFile::DeleteFile(const std::string& uuid, std::u16string&& path, Version apiVersion)
    : common::v1::Message(uuid, apiVersion)
    , path(std::move(path)) {}

DeleteFile::~DeleteFile() = default;

DeleteFileResponse::DeleteFileResponse(const std::string& uuid, FileInfo&& fileInfo,
                                       std::vector<Fault>&& faults, Version apiVersion)
    : common::v1::Response(uuid, std::move(faults), apiVersion)
    , fileInfo(std::move(fileInfo)) {}

DeleteFileResponse::~DeleteFileResponse() = default;

ListFolder::ListFolder(const std::string& uuid, std::u16string&& path, Version apiVersion)
    : common::v1::Message(uuid, apiVersion)
    , path(std::move(path)) {}

ListFolder::~ListFolder() = default;

ListFolderResponse::ListFolderResponse(const std::string& uuid, FileInfo&& folder,
                                       std::vector<FileInfo>&& folderContents,
                                       std::vector<Fault>&& faults, Version apiVersion)
    : common::v1::Response(uuid, std::move(faults), apiVersion)
    , folder(std::move(folder))
    , folderContents(std::move(folderContents)) {}

ListFolderResponse::~ListFolderResponse() = default;

OpenWithBrowser::OpenWithBrowser(const std::string& uuid, std::string&& uri, Version apiVersion)
    : common::v1::Message(uuid, apiVersion)
    , uri(std::move(uri)) {}

OpenWithBrowser::~OpenWithBrowser() = default;

} // namespace connector::file::v1
