#pragma once

#include "Fields.h"

#include <connector/file/v1/Messages.h>

#include <tuple>

namespace connector::file::v1::wire {

// Keys of more than one message.
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

/// The text of an identifier that is absent.
constexpr auto NOT_GIVEN = "notset";

/// A message type and its own fields.
template <typename M, typename... Fields>
struct Entry {
  using Type = M;
  std::tuple<Fields...> fields;
};

template <typename M, typename... Fields>
constexpr Entry<M, Fields...> message(Fields... fields) {
  return {{fields...}};
}

/// Every message, in the order in which they are registered and removed. The fields that are
/// arguments of a constructor are in its order. "uuid", "apiVersion" and, in a response,
/// "messageFaults" are not listed: every message has them.
inline constexpr std::tuple MESSAGES{
    message<CreateFile>(Argument{key::FILE, &CreateFile::file},
                        Argument{"updateIfExists", &CreateFile::updateIfExists}),
    message<CreateFileResponse>(ResponseValue{key::FILE_INFO, &CreateFileResponse::fileInfo}),
    message<OpenOrCreateFile>(Argument{key::PATH, &OpenOrCreateFile::path}),
    message<OpenOrCreateFileResponse>(ResponseValue{key::FILE, &OpenOrCreateFileResponse::file}),
    message<OpenFile>(Argument{key::PATH, &OpenFile::path}),
    message<OpenFileResponse>(ResponseValue{key::FILE, &OpenFileResponse::file},
                              Member{"lineNumber", &OpenFileResponse::lineNumber},
                              Member{"column", &OpenFileResponse::column},
                              OutputMember{"isDebugEvent", &OpenFileResponse::isDebugEvent}),
    message<UpdateFile>(Argument{key::FILE, &UpdateFile::file}),
    message<UpdateFileResponse>(ResponseValue{key::FILE_INFO, &UpdateFileResponse::fileInfo}),
    message<CloseFile>(Argument{key::FILE, &CloseFile::file},
                       Argument{"updateFile", &CloseFile::updateFile}),
    message<CloseFileResponse>(ResponseValue{key::FILE_INFO, &CloseFileResponse::fileInfo}),
    message<RenameFile>(Argument{"originalFileInfo", &RenameFile::originalFileInfo},
                        Argument{key::NEW_FILE_INFO, &RenameFile::newFileInfo}),
    // Not a ResponseValue: the key is written even if the operation failed.
    message<RenameFileResponse>(Argument{key::NEW_FILE_INFO, &RenameFileResponse::newFileInfo}),
    message<MoveFile>(Argument{key::SRC_PATH, &MoveFile::srcPath},
                      Argument{"destPath", &MoveFile::destPath}),
    message<MoveFileResponse>(ResponseValue{key::FILE_INFO, &MoveFileResponse::fileInfo},
                              OutputArgument{key::SRC_PATH, &MoveFileResponse::srcPath},
                              FirstFault{"fault"}),
    message<DeleteFile>(Argument{key::PATH, &DeleteFile::path}),
    message<DeleteFileResponse>(ResponseValue{key::FILE_INFO, &DeleteFileResponse::fileInfo}),
    message<ListFolder>(Argument{key::PATH, &ListFolder::path}),
    message<ListFolderResponse>(ResponseValue{"folder", &ListFolderResponse::folder},
                                Argument{"folderContents", &ListFolderResponse::folderContents}),
    message<OpenWithBrowser>(ArgumentOr{"uri", &OpenWithBrowser::uri, NOT_GIVEN})};

} // namespace connector::file::v1::wire
