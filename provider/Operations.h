#pragma once

// What the nine handlers differ in: for each request the text and the paths that name it in a
// fault, the call of the file service, and the response with what it carries.

#include <connector/file/v1/FileService.h>
#include <connector/file/v1/Messages.h>

#include <string>
#include <tuple>
#include <vector>

namespace connector::file::v1 {

/// What a fault says when the failure does not speak for itself.
struct RequestContext {
  std::u16string text;
  std::vector<std::u16string> paths;
};

/// `Answer` is the response class and `Payload` its own fields in the order of its constructor;
/// a default-made Payload is what a failed response carries.
template <typename Req>
struct Operation;

template <typename Response, typename... Fields>
struct Answers {
  using Answer = Response;
  using Payload = std::tuple<Fields...>;
};

template <>
struct Operation<CreateFile> : Answers<CreateFileResponse, FileInfo> {
  static RequestContext context(const CreateFile& request);
  static Payload perform(FileService& service, CreateFile& request);
};

template <>
struct Operation<OpenOrCreateFile> : Answers<OpenOrCreateFileResponse, File> {
  static RequestContext context(const OpenOrCreateFile& request);
  static Payload perform(FileService& service, OpenOrCreateFile& request);
};

template <>
struct Operation<OpenFile> : Answers<OpenFileResponse, File> {
  static RequestContext context(const OpenFile& request);
  static Payload perform(FileService& service, OpenFile& request);
};

template <>
struct Operation<UpdateFile> : Answers<UpdateFileResponse, FileInfo> {
  static RequestContext context(const UpdateFile& request);
  static Payload perform(FileService& service, UpdateFile& request);
};

template <>
struct Operation<CloseFile> : Answers<CloseFileResponse, FileInfo> {
  static RequestContext context(const CloseFile& request);
  static Payload perform(FileService& service, CloseFile& request);
};

template <>
struct Operation<RenameFile> : Answers<RenameFileResponse, FileInfo> {
  static RequestContext context(const RenameFile& request);
  static Payload perform(FileService& service, RenameFile& request);
};

template <>
struct Operation<MoveFile> : Answers<MoveFileResponse, FileInfo, FileInfo> {
  static RequestContext context(const MoveFile& request);
  static Payload perform(FileService& service, MoveFile& request);
};

template <>
struct Operation<DeleteFile> : Answers<DeleteFileResponse, FileInfo> {
  static RequestContext context(const DeleteFile& request);
  static Payload perform(FileService& service, DeleteFile& request);
};

template <>
struct Operation<ListFolder> : Answers<ListFolderResponse, FileInfo, std::vector<FileInfo>> {
  static RequestContext context(const ListFolder& request);
  static Payload perform(FileService& service, ListFolder& request);
};

} // namespace connector::file::v1
