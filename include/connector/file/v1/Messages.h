#pragma once

#include <connector/file/v1/Export.h>
#include <connector/file/v1/ServiceDelivery.h>

#include <connector/Message.h>
#include <connector/common/v1/Message.h>
#include <connector/file_common/v1/File.h>
#include <connector/file_common/v1/FileInfo.h>

#include <cstdint>
#include <string>
#include <vector>

/// The messages of the file service, with the type names of their JSON form. They cannot be
/// copied. Every request except OpenWithBrowser can deliver itself to the provider. Paths in
/// requests are UTF-16, absolute or relative to the current directory of the process that executes
/// them.
///
/// On success, a response has no faults and its FileInfos have absolute locations, unless stated
/// otherwise. On failure, a response has one fault and its own fields have their defaults.
namespace connector::file::v1 {

// Declared as exported before its first use as a template argument: otherwise the instantiations
// would be hidden.
class CONNECTOR_FILE_EXPORT FileServiceProvider;

using common::v1::Fault;
using common::v1::Version;
using file_common::v1::File;
using file_common::v1::FileInfo;

// Each class declares its destructor, to keep its virtual table in the library.
// NOLINTBEGIN(cppcoreguidelines-special-member-functions): the bases are not copyable.

/// Creates a file with its contents, or a directory.
class CONNECTOR_FILE_EXPORT CreateFile : public MessageAPI<CreateFile, FileServiceProvider>,
                                         public common::v1::Message {
public:
  static constexpr auto TYPE_NAME = "connector/v1/CreateFile";

  CreateFile(const std::string& uuid, File&& file, bool updateIfExists, Version apiVersion);
  ~CreateFile() override;

  File file;
  bool updateIfExists; ///< whether to overwrite an existing file
};

class CONNECTOR_FILE_EXPORT CreateFileResponse : public connector::Message,
                                                 public common::v1::Response {
public:
  static constexpr auto TYPE_NAME = "connector/v1/CreateFileResponse";

  CreateFileResponse(const std::string& uuid, FileInfo&& fileInfo, std::vector<Fault>&& faults,
                     Version apiVersion);
  ~CreateFileResponse() override;

  FileInfo fileInfo; ///< the created file
};

/// Reads a file. If the file does not exist, creates an empty one first.
class CONNECTOR_FILE_EXPORT OpenOrCreateFile
    : public MessageAPI<OpenOrCreateFile, FileServiceProvider>,
      public common::v1::Message {
public:
  static constexpr auto TYPE_NAME = "connector/v1/OpenOrCreateFile";

  OpenOrCreateFile(const std::string& uuid, std::u16string&& path, Version apiVersion);
  ~OpenOrCreateFile() override;

  std::u16string path;
};

class CONNECTOR_FILE_EXPORT OpenOrCreateFileResponse : public connector::Message,
                                                       public common::v1::Response {
public:
  static constexpr auto TYPE_NAME = "connector/v1/OpenOrCreateFileResponse";

  OpenOrCreateFileResponse(const std::string& uuid, File&& file, std::vector<Fault>&& faults,
                           Version apiVersion);
  ~OpenOrCreateFileResponse() override;

  File file;
};

/// Reads a file.
class CONNECTOR_FILE_EXPORT OpenFile : public MessageAPI<OpenFile, FileServiceProvider>,
                                       public common::v1::Message {
public:
  static constexpr auto TYPE_NAME = "connector/v1/OpenFile";

  OpenFile(const std::string& uuid, std::u16string&& path, Version apiVersion);
  ~OpenFile() override;

  std::u16string path;
};

/// The provider leaves `lineNumber`, `column` and `isDebugEvent` at their defaults.
class CONNECTOR_FILE_EXPORT OpenFileResponse : public connector::Message,
                                               public common::v1::Response {
public:
  static constexpr auto TYPE_NAME = "connector/v1/OpenFileResponse";

  OpenFileResponse(const std::string& uuid, File&& file, std::vector<Fault>&& faults,
                   Version apiVersion);
  ~OpenFileResponse() override;

  File file;
  std::int32_t lineNumber = -1; ///< -1 if not given
  std::int32_t column = -1;     ///< -1 if not given
  bool isDebugEvent = false;
};

/// Replaces the contents of an existing file.
class CONNECTOR_FILE_EXPORT UpdateFile : public MessageAPI<UpdateFile, FileServiceProvider>,
                                         public common::v1::Message {
public:
  static constexpr auto TYPE_NAME = "connector/v1/UpdateFile";

  UpdateFile(const std::string& uuid, File&& file, Version apiVersion);
  ~UpdateFile() override;

  File file;
};

class CONNECTOR_FILE_EXPORT UpdateFileResponse : public connector::Message,
                                                 public common::v1::Response {
public:
  static constexpr auto TYPE_NAME = "connector/v1/UpdateFileResponse";

  UpdateFileResponse(const std::string& uuid, FileInfo&& fileInfo, std::vector<Fault>&& faults,
                     Version apiVersion);
  ~UpdateFileResponse() override;

  FileInfo fileInfo;
};

/// Returns the FileInfo of a path. If `updateFile` is true, replaces the file's contents first.
class CONNECTOR_FILE_EXPORT CloseFile : public MessageAPI<CloseFile, FileServiceProvider>,
                                        public common::v1::Message {
public:
  static constexpr auto TYPE_NAME = "connector/v1/CloseFile";

  CloseFile(const std::string& uuid, File&& file, bool updateFile, Version apiVersion);
  ~CloseFile() override;

  File file;
  bool updateFile;
};

class CONNECTOR_FILE_EXPORT CloseFileResponse : public connector::Message,
                                                public common::v1::Response {
public:
  static constexpr auto TYPE_NAME = "connector/v1/CloseFileResponse";

  CloseFileResponse(const std::string& uuid, FileInfo&& fileInfo, std::vector<Fault>&& faults,
                    Version apiVersion);
  ~CloseFileResponse() override;

  FileInfo fileInfo;
};

/// Gives a file or directory a new path.
class CONNECTOR_FILE_EXPORT RenameFile : public MessageAPI<RenameFile, FileServiceProvider>,
                                         public common::v1::Message {
public:
  static constexpr auto TYPE_NAME = "connector/v1/RenameFile";

  RenameFile(const std::string& uuid, std::u16string&& originalFileInfo,
             std::u16string&& newFileInfo, Version apiVersion);
  ~RenameFile() override;

  std::u16string originalFileInfo; ///< the current path
  std::u16string newFileInfo;      ///< the new path
};

class CONNECTOR_FILE_EXPORT RenameFileResponse : public connector::Message,
                                                 public common::v1::Response {
public:
  static constexpr auto TYPE_NAME = "connector/v1/RenameFileResponse";

  RenameFileResponse(const std::string& uuid, FileInfo&& newFileInfo, std::vector<Fault>&& faults,
                     Version apiVersion);
  ~RenameFileResponse() override;

  FileInfo newFileInfo; ///< the file at its new path
};

/// Moves a file or directory into a directory.
class CONNECTOR_FILE_EXPORT MoveFile : public MessageAPI<MoveFile, FileServiceProvider>,
                                       public common::v1::Message {
public:
  static constexpr auto TYPE_NAME = "connector/v1/MoveFile";

  MoveFile(const std::string& uuid, std::u16string&& srcPath, std::u16string&& destPath,
           Version apiVersion);
  ~MoveFile() override;

  std::u16string srcPath;
  std::u16string destPath; ///< the directory to move into
};

class CONNECTOR_FILE_EXPORT MoveFileResponse : public connector::Message,
                                               public common::v1::Response {
public:
  static constexpr auto TYPE_NAME = "connector/v1/MoveFileResponse";

  MoveFileResponse(const std::string& uuid, FileInfo&& fileInfo, FileInfo&& srcPath,
                   std::vector<Fault>&& faults, Version apiVersion);
  ~MoveFileResponse() override;

  FileInfo fileInfo; ///< the file at its new path
  FileInfo srcPath;  ///< the source path as received, with the directory flag of fileInfo
};

/// Deletes a file, or a directory with everything beneath it.
class CONNECTOR_FILE_EXPORT DeleteFile : public MessageAPI<DeleteFile, FileServiceProvider>,
                                         public common::v1::Message {
public:
  static constexpr auto TYPE_NAME = "connector/v1/DeleteFile";

  DeleteFile(const std::string& uuid, std::u16string&& path, Version apiVersion);
  ~DeleteFile() override;

  std::u16string path;
};

class CONNECTOR_FILE_EXPORT DeleteFileResponse : public connector::Message,
                                                 public common::v1::Response {
public:
  static constexpr auto TYPE_NAME = "connector/v1/DeleteFileResponse";

  DeleteFileResponse(const std::string& uuid, FileInfo&& fileInfo, std::vector<Fault>&& faults,
                     Version apiVersion);
  ~DeleteFileResponse() override;

  FileInfo fileInfo; ///< the deleted path, with the attribute `deleted` set
};

/// Lists the entries of a directory.
class CONNECTOR_FILE_EXPORT ListFolder : public MessageAPI<ListFolder, FileServiceProvider>,
                                         public common::v1::Message {
public:
  static constexpr auto TYPE_NAME = "connector/v1/ListFolder";

  ListFolder(const std::string& uuid, std::u16string&& path, Version apiVersion);
  ~ListFolder() override;

  std::u16string path;
};

class CONNECTOR_FILE_EXPORT ListFolderResponse : public connector::Message,
                                                 public common::v1::Response {
public:
  static constexpr auto TYPE_NAME = "connector/v1/ListFolderResponse";

  ListFolderResponse(const std::string& uuid, FileInfo&& folder,
                     std::vector<FileInfo>&& folderContents, std::vector<Fault>&& faults,
                     Version apiVersion);
  ~ListFolderResponse() override;

  FileInfo folder;                      ///< the listed directory
  std::vector<FileInfo> folderContents; ///< its entries
};

/// Asks to open a URI in a browser. The message has no handler, so the provider's Future holds
/// std::invalid_argument.
class CONNECTOR_FILE_EXPORT OpenWithBrowser : public connector::Message,
                                              public common::v1::Message {
public:
  static constexpr auto TYPE_NAME = "connector/v1/OpenWithBrowser";

  OpenWithBrowser(const std::string& uuid, std::string&& uri, Version apiVersion);
  ~OpenWithBrowser() override;

  std::string uri;
};

// NOLINTEND(cppcoreguidelines-special-member-functions)

} // namespace connector::file::v1
