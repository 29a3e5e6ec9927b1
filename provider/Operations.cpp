#include "Operations.h"

#include <utility>

namespace connector::file::v1 {

namespace {

/// Location and name stand together without a separator, and only the name is repeated.
RequestContext aboutFile(const File& file, const std::u16string& phrase) {
  const std::u16string& location = file.getFileInfo().getLocation();
  const std::u16string name = file.getFileInfo().getName();
  return {u"File: '" + location + name + u"'" + phrase + u"'" + name + u"'", {location, name}};
}

RequestContext aboutPath(const std::u16string& kind, const std::u16string& path,
                         const std::u16string& phrase) {
  return {kind + path + phrase + u"'" + path + u"'", {path}};
}

RequestContext aboutTwoPaths(const std::u16string& source, const std::u16string& destination,
                             const std::u16string& phrase) {
  return {u"File: " + source + phrase + u"'" + source + u"' to '" + destination + u"'",
          {source, destination}};
}

} // namespace

RequestContext Operation<CreateFile>::context(const CreateFile& request) {
  return aboutFile(request.file, u": Error creating file: ");
}

auto Operation<CreateFile>::perform(FileService& service, CreateFile& request) -> Payload {
  return {service.create(std::move(request.file), request.updateIfExists).get()};
}

RequestContext Operation<OpenOrCreateFile>::context(const OpenOrCreateFile& request) {
  return aboutPath(u"File: ", request.path, u": Error opening or creating file: ");
}

auto Operation<OpenOrCreateFile>::perform(FileService& service, OpenOrCreateFile& request)
    -> Payload {
  return {service.openOrCreate(request.path).get()};
}

RequestContext Operation<OpenFile>::context(const OpenFile& request) {
  return aboutPath(u"File: ", request.path, u": Error opening file: ");
}

auto Operation<OpenFile>::perform(FileService& service, OpenFile& request) -> Payload {
  return {service.open(request.path).get()};
}

RequestContext Operation<UpdateFile>::context(const UpdateFile& request) {
  return aboutFile(request.file, u": Error in updating file: ");
}

auto Operation<UpdateFile>::perform(FileService& service, UpdateFile& request) -> Payload {
  return {service.update(std::move(request.file)).get()};
}

RequestContext Operation<CloseFile>::context(const CloseFile& request) {
  return aboutFile(request.file, u": Error in closing file: ");
}

auto Operation<CloseFile>::perform(FileService& service, CloseFile& request) -> Payload {
  if (request.updateFile) {
    return {service.close(std::move(request.file)).get()};
  }
  return {service.close(request.file.getFileInfo().getLocation()).get()};
}

RequestContext Operation<RenameFile>::context(const RenameFile& request) {
  return aboutTwoPaths(request.originalFileInfo, request.newFileInfo,
                       u": Error in renaming file: ");
}

auto Operation<RenameFile>::perform(FileService& service, RenameFile& request) -> Payload {
  return {service.rename(request.originalFileInfo, request.newFileInfo).get()};
}

RequestContext Operation<MoveFile>::context(const MoveFile& request) {
  return aboutTwoPaths(request.srcPath, request.destPath, u": Error moving file: ");
}

auto Operation<MoveFile>::perform(FileService& service, MoveFile& request) -> Payload {
  FileInfo moved = service.move(request.srcPath, request.destPath).get();
  FileInfo source(request.srcPath, moved.isDirectory());
  return {std::move(moved), std::move(source)};
}

RequestContext Operation<DeleteFile>::context(const DeleteFile& request) {
  return aboutPath(u"File: ", request.path, u": Error deleting file: ");
}

auto Operation<DeleteFile>::perform(FileService& service, DeleteFile& request) -> Payload {
  return {service.remove(request.path).get()};
}

RequestContext Operation<ListFolder>::context(const ListFolder& request) {
  return aboutPath(u"Folder: ", request.path, u": Error listing folder contents: ");
}

auto Operation<ListFolder>::perform(FileService& service, ListFolder& request) -> Payload {
  std::vector<FileInfo> entries = service.list(request.path).get();
  return {service.info(request.path).get(), std::move(entries)};
}

} // namespace connector::file::v1
