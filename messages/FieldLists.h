#pragma once

#include "Fields.h"

#include <connector/file/v1/Messages.h>

#include <tuple>

namespace connector::file::v1 {

// The keys that more than one message has.
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

/// The text of an identifier that is not given.
constexpr auto NOT_GIVEN = "notset";

/// A message's own fields; those that are arguments of its constructor stand in its order. "uuid",
/// "apiVersion" and, in a response, "messageFaults" are every message's.
template <typename M>
struct Fields;

template <>
struct Fields<CreateFile> {
  static constexpr auto list = std::tuple(Value{key::FILE, &CreateFile::file},
                                          Value{"updateIfExists", &CreateFile::updateIfExists});
};

template <>
struct Fields<CreateFileResponse> {
  static constexpr auto list = std::tuple(Payload{key::FILE_INFO, &CreateFileResponse::fileInfo});
};

template <>
struct Fields<OpenOrCreateFile> {
  static constexpr auto list = std::tuple(Value{key::PATH, &OpenOrCreateFile::path});
};

template <>
struct Fields<OpenOrCreateFileResponse> {
  static constexpr auto list = std::tuple(Payload{key::FILE, &OpenOrCreateFileResponse::file});
};

template <>
struct Fields<OpenFile> {
  static constexpr auto list = std::tuple(Value{key::PATH, &OpenFile::path});
};

template <>
struct Fields<OpenFileResponse> {
  static constexpr auto list =
      std::tuple(Payload{key::FILE, &OpenFileResponse::file},
                 SetAfterwards{"lineNumber", &OpenFileResponse::lineNumber},
                 SetAfterwards{"column", &OpenFileResponse::column},
                 NeverRead{"isDebugEvent", &OpenFileResponse::isDebugEvent});
};

template <>
struct Fields<UpdateFile> {
  static constexpr auto list = std::tuple(Value{key::FILE, &UpdateFile::file});
};

template <>
struct Fields<UpdateFileResponse> {
  static constexpr auto list = std::tuple(Payload{key::FILE_INFO, &UpdateFileResponse::fileInfo});
};

template <>
struct Fields<CloseFile> {
  static constexpr auto list =
      std::tuple(Value{key::FILE, &CloseFile::file}, Value{"updateFile", &CloseFile::updateFile});
};

template <>
struct Fields<CloseFileResponse> {
  static constexpr auto list = std::tuple(Payload{key::FILE_INFO, &CloseFileResponse::fileInfo});
};

template <>
struct Fields<RenameFile> {
  static constexpr auto list = std::tuple(Value{"originalFileInfo", &RenameFile::originalFileInfo},
                                          Value{key::NEW_FILE_INFO, &RenameFile::newFileInfo});
};

template <>
struct Fields<RenameFileResponse> {
  static constexpr auto list =
      std::tuple(Value{key::NEW_FILE_INFO, &RenameFileResponse::newFileInfo});
};

template <>
struct Fields<MoveFile> {
  static constexpr auto list =
      std::tuple(Value{key::SRC_PATH, &MoveFile::srcPath}, Value{"destPath", &MoveFile::destPath});
};

template <>
struct Fields<MoveFileResponse> {
  static constexpr auto list =
      std::tuple(Payload{key::FILE_INFO, &MoveFileResponse::fileInfo},
                 WrittenOnly{key::SRC_PATH, &MoveFileResponse::srcPath}, FirstFault{"fault"});
};

template <>
struct Fields<DeleteFile> {
  static constexpr auto list = std::tuple(Value{key::PATH, &DeleteFile::path});
};

template <>
struct Fields<DeleteFileResponse> {
  static constexpr auto list = std::tuple(Payload{key::FILE_INFO, &DeleteFileResponse::fileInfo});
};

template <>
struct Fields<ListFolder> {
  static constexpr auto list = std::tuple(Value{key::PATH, &ListFolder::path});
};

template <>
struct Fields<ListFolderResponse> {
  static constexpr auto list =
      std::tuple(Payload{"folder", &ListFolderResponse::folder},
                 Value{"folderContents", &ListFolderResponse::folderContents});
};

template <>
struct Fields<OpenWithBrowser> {
  static constexpr auto list = std::tuple(TextOr{"uri", &OpenWithBrowser::uri, NOT_GIVEN});
};

} // namespace connector::file::v1
