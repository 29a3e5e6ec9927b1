#pragma once

#include "Fields.h"

#include <connector/file/v1/Messages.h>

#include <tuple>

namespace connector::file::v1::wire {

// Keys that are used more than once.
namespace key {

constexpr auto UUID = "uuid";
constexpr auto API_VERSION = "apiVersion";
constexpr auto MESSAGE_FAULTS = "messageFaults";
constexpr auto FILE = "file";
constexpr auto FILE_INFO = "fileInfo";
constexpr auto NEW_FILE_INFO = "newFileInfo";
constexpr auto PATH = "path";
constexpr auto SRC_PATH = "srcPath";

} // namespace key

/// The value of an absent "uuid" or "uri".
constexpr auto NOT_GIVEN = "notset";

/// A message type and its own fields. `summary` describes a request in one line.
template <typename M, typename... Fields>
struct Entry {
  using Type = M;
  const char* summary;
  std::tuple<Fields...> fields;
};

template <typename M, typename... Fields>
constexpr Entry<M, Fields...> request(const char* summary, Fields... fields) {
  return {summary, {fields...}};
}

template <typename M, typename... Fields>
constexpr Entry<M, Fields...> response(Fields... fields) {
  return {"", {fields...}};
}

// Descriptions that are used more than once.
constexpr auto FILE_PATH = "Path of the file.";
constexpr auto ANY_PATH = "Path of the file or directory.";
constexpr auto OPENED_FILE = "The file with its contents.";
constexpr auto RESULT = "The description of the path after the operation.";

/// All messages, in the order of registration and removal. Fields that are constructor arguments
/// are in the constructor's order. Not listed are "uuid" and "apiVersion", which all messages have,
/// and "messageFaults", which all responses have.
inline constexpr std::tuple MESSAGES{
    request<CreateFile>(
        "Create a file with its contents, or a directory. Missing parent directories are created.",
        Argument{key::FILE, &CreateFile::file, "The path and the contents."},
        Argument{"updateIfExists", &CreateFile::updateIfExists,
                 "Whether an existing file is overwritten."}),
    response<CreateFileResponse>(
        ResponseValue{key::FILE_INFO, &CreateFileResponse::fileInfo, RESULT}),
    request<OpenOrCreateFile>("Read a file of less than 20,000,000 bytes. Create it if missing.",
                              Argument{key::PATH, &OpenOrCreateFile::path, FILE_PATH}),
    response<OpenOrCreateFileResponse>(
        ResponseValue{key::FILE, &OpenOrCreateFileResponse::file, OPENED_FILE}),
    request<OpenFile>("Read a file of less than 20,000,000 bytes.",
                      Argument{key::PATH, &OpenFile::path, FILE_PATH}),
    response<OpenFileResponse>(
        ResponseValue{key::FILE, &OpenFileResponse::file, OPENED_FILE},
        Member{"lineNumber", &OpenFileResponse::lineNumber, "Always -1."},
        Member{"column", &OpenFileResponse::column, "Always -1."},
        OutputMember{"isDebugEvent", &OpenFileResponse::isDebugEvent, "Always false."}),
    request<UpdateFile>("Replace the contents of an existing file.",
                        Argument{key::FILE, &UpdateFile::file, "The path and the new contents."}),
    response<UpdateFileResponse>(
        ResponseValue{key::FILE_INFO, &UpdateFileResponse::fileInfo, RESULT}),
    request<CloseFile>(
        "Describe a path, which may be missing. With updateFile, update the file first.",
        Argument{key::FILE, &CloseFile::file, "The path and, with updateFile, the new contents."},
        Argument{"updateFile", &CloseFile::updateFile, "Whether the contents are written."}),
    response<CloseFileResponse>(
        ResponseValue{key::FILE_INFO, &CloseFileResponse::fileInfo, RESULT}),
    request<RenameFile>("Rename a file or directory. Fails if the new path already exists.",
                        Argument{"originalFileInfo", &RenameFile::originalFileInfo, ANY_PATH},
                        Argument{key::NEW_FILE_INFO, &RenameFile::newFileInfo, "Its new path."}),
    // Not a ResponseValue, because the key is written even if the operation failed.
    response<RenameFileResponse>(
        Argument{key::NEW_FILE_INFO, &RenameFileResponse::newFileInfo, RESULT}),
    request<MoveFile>(
        "Move a file or directory into another directory.",
        Argument{key::SRC_PATH, &MoveFile::srcPath, ANY_PATH},
        Argument{"destPath", &MoveFile::destPath, "Path of the directory to move it into."}),
    response<MoveFileResponse>(
        ResponseValue{key::FILE_INFO, &MoveFileResponse::fileInfo, RESULT},
        OutputArgument{key::SRC_PATH, &MoveFileResponse::srcPath, "The source path as received."},
        FirstFault{"fault", "The first fault."}),
    request<DeleteFile>("Delete a file, or a directory with everything in it.",
                        Argument{key::PATH, &DeleteFile::path, ANY_PATH}),
    response<DeleteFileResponse>(
        ResponseValue{key::FILE_INFO, &DeleteFileResponse::fileInfo, RESULT}),
    request<ListFolder>("List a directory, without the entries whose name begins with a dot.",
                        Argument{key::PATH, &ListFolder::path, "Path of the directory."}),
    response<ListFolderResponse>(
        ResponseValue{"folder", &ListFolderResponse::folder, "The directory."},
        Argument{"folderContents", &ListFolderResponse::folderContents,
                 "The entries, in no particular order."}),
    request<OpenWithBrowser>("Show a URI in a browser.",
                             ArgumentOr{"uri", &OpenWithBrowser::uri, "The URI.", NOT_GIVEN})};

} // namespace connector::file::v1::wire
