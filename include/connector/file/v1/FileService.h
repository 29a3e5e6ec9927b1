#pragma once

#include <connector/file/v1/Export.h>
#include <connector/file/v1/FileFutures.h>
#include <connector/file/v1/Future.h>

#include <connector/file_common/v1/File.h>
#include <fl/filesystem/upath.h>
#include <fl/i18n/ustring.h>

#include <memory>
#include <vector>

namespace connector::file::v1 {

using fl::i18n::ustring;

/// The file operations. Paths, including the location of a File, are UTF-16, either absolute or
/// relative to the process's current directory. Every operation finishes before it returns, so the
/// returned Future is resolved.
///
/// An operation that refuses a request returns a Future that holds a FileServiceException; the
/// comments below name its condition in parentheses. Exceptions of the platform (fl::filesystem)
/// are thrown by the call itself.
///
/// Thread-safe. Concurrent operations affect each other only through the file system, which may
/// change between an operation's checks and its effect. The operation may then be refused, throw,
/// or replace the effect of another one. If two calls of `create` need the same missing parent
/// directory, one may be refused (FILE_EXISTS).
///
/// Every returned FileInfo has an absolute location and describes the file at the time of the call.
/// Sizes are in bytes, modification times in seconds since 1970-01-01 UTC.
class CONNECTOR_FILE_EXPORT FileService : public std::enable_shared_from_this<FileService> {
public:
  virtual ~FileService();

  /// Creates a file with the File's contents, or a directory if its FileInfo describes one. Creates
  /// missing parent directories first, one level at a time. Overwrites an existing file only if
  /// `overwrite` is true, and never a directory. Returns the new file's description.
  ///
  /// Refuses an invalid name (FILE_NAME_NOT_SUPPORTED), an existing path that must not be
  /// overwritten (FILE_EXISTS), an existing file without write permission (FILE_ACCESS_DENIED), a
  /// parent directory without write permission (FOLDER_ACCESS_DENIED) or on a full disk
  /// (OVER_DISK_QUOTA), and a missing root directory (FILE_IO_GENERIC). Throws SystemError if the
  /// file cannot be opened or written, and another platform exception if a directory cannot be
  /// created.
  ///
  /// Not atomic: a reader may see the file empty or half-written, and a failed write leaves the
  /// bytes written so far. Parent directories that were created stay.
  virtual Future<FileInfo> create(File&& file, bool overwrite) = 0;

  /// Reads the file as `read` does. Creates an empty file first if the path is missing.
  ///
  /// Refuses an invalid name (FILE_NAME_NOT_SUPPORTED), a file without read permission
  /// (FILE_ACCESS_DENIED), and a directory (FILE_IO_GENERIC). For a missing file, refuses a parent
  /// directory that is missing or not writable (FOLDER_ACCESS_DENIED) or on a full disk
  /// (OVER_DISK_QUOTA). Throws SystemError if the file cannot be created.
  ///
  /// A file that another process creates meanwhile is read, never emptied. A new file stays if
  /// reading fails.
  virtual Future<File> openOrCreate(const ustring& path) = 0;

  /// Reads the file as `read` does. Before that, refuses an invalid name
  /// (FILE_NAME_NOT_SUPPORTED), and a missing path or a directory (FILE_NOT_FOUND for both).
  virtual Future<File> open(const ustring& path) = 0;

  /// Returns the contents and the description of a regular file smaller than 20,000,000 bytes. If
  /// the path is missing or not a regular file, the Future holds a plain std::runtime_error.
  /// Refuses a file without read permission (FILE_ACCESS_DENIED), and one that is too big or cannot
  /// be opened (FILE_IO_GENERIC). Throws std::runtime_error("Out of memory!"), and SystemError if
  /// the disk fails while reading. If the file changes meanwhile, the contents may mix old and new
  /// bytes or be incomplete.
  virtual Future<File> read(const ustring& path) = 0;

  /// Replaces the contents of an existing file with those of the File. Returns its description.
  /// Refuses an invalid name (FILE_NAME_NOT_SUPPORTED), a missing file (FILE_NOT_FOUND), one
  /// without write permission (FILE_ACCESS_DENIED) and a directory (FILE_IO_GENERIC). Throws
  /// SystemError if the file cannot be opened or written. Not atomic: the file is emptied first,
  /// and a failed write leaves the bytes written so far.
  virtual Future<FileInfo> update(File&& file) = 0;

  /// Same as `update`.
  virtual Future<FileInfo> close(File&& file) = 0;

  /// Same as `info`.
  virtual Future<FileInfo> close(const ustring& path) = 0;

  /// Gives a file or directory the complete new path `to`. Creates missing parent directories of
  /// `to`. Returns the description of `to`.
  ///
  /// Refuses invalid names (FILE_NAME_NOT_SUPPORTED), a missing source (FILE_NOT_FOUND), a source
  /// without write permission (FILE_ACCESS_DENIED), and an existing `to` (FILE_EXISTS). If `to`
  /// is a dangling link or appears after that check, the platform throws FileExistsError. On file
  /// systems that cannot rename without replacing, a `to` that appears during the rename is
  /// replaced.
  ///
  /// The rename is atomic. The platform throws if `to` is on another file system. Parent
  /// directories that were created stay if the rename fails.
  virtual Future<FileInfo> rename(const ustring& from, const ustring& to) = 0;

  /// Moves a file or directory, with its name unchanged, into the existing directory `to`. Returns
  /// the description of the target, which is `to` followed by the name.
  ///
  /// Refuses invalid names (FILE_NAME_NOT_SUPPORTED), a missing source or missing `to`
  /// (FILE_NOT_FOUND), and an existing target (FILE_EXISTS). Throws SystemError with EINVAL, before
  /// anything is changed, if `to` is the source directory or is beneath it.
  ///
  /// A file is copied and then deleted at the source. The copy keeps contents, holes, permission
  /// bits, access ACL and modification time, and owner and group where the system permits. If the
  /// source changes while it is copied, SystemError with EBUSY is thrown and the source stays. A
  /// failed copy leaves only the source, a failed deletion leaves both.
  ///
  /// For a directory, the target is created and restricted to its owner, and the entries are moved
  /// one by one. Then the source directory is deleted, and the target gets the attributes that a
  /// copied file keeps. If setting them fails, the move is already complete. Entries whose name
  /// begins with a dot or has one character are not moved; the platform then throws because the
  /// source directory is not empty. After a failure half-way, the entries moved so far are in the
  /// target, which stays restricted. The others are in the source.
  ///
  /// A link to a file becomes a copy of the file. Any other link is moved as a link: it keeps its
  /// text, so a relative link may dangle afterwards. A dangling link is moved only as an entry of a
  /// directory; as `from`, it counts as missing.
  virtual Future<FileInfo> move(const ustring& from, const ustring& to) = 0;

  /// Deletes a file, a link but not its target, or a directory with everything beneath it. Returns
  /// the description of the path, which is now missing. Refuses an invalid name
  /// (FILE_NAME_NOT_SUPPORTED) and a missing path or dangling link (FILE_NOT_FOUND). Repeats a
  /// failed deletion for about a second, blocking the caller, and then throws the last exception.
  /// By then, part of a directory may be deleted.
  virtual Future<FileInfo> remove(const ustring& path) = 0;

  /// Describes the path. The empty path means the current directory. A missing path is described as
  /// deleted.
  virtual Future<FileInfo> info(const ustring& path) = 0;

  /// Describes the entries of a directory in the system's order, without those whose name begins
  /// with a dot. The empty path means the current directory. The list is empty if the path is not a
  /// directory. Refuses an invalid name (FILE_NAME_NOT_SUPPORTED) and a missing path
  /// (FILE_NOT_FOUND). If an entry is created or deleted during the call, it may or may not be
  /// listed.
  virtual Future<std::vector<FileInfo>> list(const ustring& path) = 0;

  /// Returns whether the path exists. A dangling link does not.
  virtual Future<bool> exists(const fl::filesystem::upath& path) = 0;

  /// Returns another owner of this object. Throws std::bad_weak_ptr if it has no owner.
  virtual std::shared_ptr<FileService> getPtr() = 0;

protected:
  FileService();
  FileService(const FileService&) = default;
  FileService& operator=(const FileService&) = default;
};

} // namespace connector::file::v1
