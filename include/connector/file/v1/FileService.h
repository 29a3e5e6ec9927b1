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

/// The file operations, on paths in UTF-16. A relative path starts in the process's current
/// directory. Every operation runs to its end inside the call: the returned Future has its result.
/// A refusal is a Future that holds a FileServiceException. The exceptions of the platform
/// (fl::filesystem) leave the call itself.
///
/// Operations may be called from several threads at once and race only through the file system,
/// which may change between an operation's checks and its effect. Such a race surfaces as a
/// platform exception or as the effect of the last operation. Two operations that make the same
/// missing parent directory may refuse it as existing.
///
/// Every returned FileInfo has an absolute location and describes the disk at that moment.
class CONNECTOR_FILE_EXPORT FileService : public std::enable_shared_from_this<FileService> {
public:
  virtual ~FileService();

  /// Writes a new file, or makes a directory if the File's FileInfo is a directory's. Makes missing
  /// parent directories first, one level at a time. Overwrites an existing file only with
  /// `overwrite`, an existing directory never. Returns the new file.
  ///
  /// Refuses an invalid name (FILE_NAME_NOT_SUPPORTED), an existing path (FILE_EXISTS), a file that
  /// may not be written (FILE_ACCESS_DENIED), and a parent directory that may not be written
  /// (FOLDER_ACCESS_DENIED) or is full (OVER_DISK_QUOTA).
  ///
  /// Not atomic: a reader may see the file empty or half-written, and a failed write leaves it so.
  /// Parent directories that were made stay.
  virtual Future<FileInfo> create(File&& file, bool overwrite) = 0;

  /// Reads the file as `read` does. Makes an empty file first if the path is missing.
  ///
  /// Refuses an invalid name (FILE_NAME_NOT_SUPPORTED), a file that may not be read
  /// (FILE_ACCESS_DENIED), and a directory (FILE_IO_GENERIC). For a missing file, refuses a parent
  /// directory that is missing or may not be written (FOLDER_ACCESS_DENIED) or is full
  /// (OVER_DISK_QUOTA).
  ///
  /// A file that another process makes meanwhile is read, never emptied. A new file stays if
  /// reading fails.
  virtual Future<File> openOrCreate(const ustring& path) = 0;

  /// Reads the file as `read` does, after checking that its name is valid
  /// (FILE_NAME_NOT_SUPPORTED), that it exists and is not a directory (FILE_NOT_FOUND for both).
  /// Changes nothing.
  virtual Future<File> open(const ustring& path) = 0;

  /// Returns the contents and the description of a regular file of less than 20,000,000 bytes, in
  /// one read. Fails with a plain std::runtime_error for a path that is missing or not a regular
  /// file. Refuses a file that may not be read (FILE_ACCESS_DENIED), is too big or cannot be opened
  /// (FILE_IO_GENERIC). Throws std::runtime_error("Out of memory!"), and SystemError if the disk
  /// fails half-way. If the file changes meanwhile, the contents may be mixed or shorter. Changes
  /// nothing.
  virtual Future<File> read(const ustring& path) = 0;

  /// Replaces the contents of an existing file by those of the File. Returns the file. Refuses an
  /// invalid name (FILE_NAME_NOT_SUPPORTED), a missing file (FILE_NOT_FOUND), one that may not be
  /// written (FILE_ACCESS_DENIED) and a directory (FILE_IO_GENERIC). Not atomic: the file is
  /// emptied first, and a failed write leaves the bytes written so far.
  virtual Future<FileInfo> update(File&& file) = 0;

  /// As `update`.
  virtual Future<FileInfo> close(File&& file) = 0;

  /// Describes the path as `info` does. Changes nothing.
  virtual Future<FileInfo> close(const ustring& path) = 0;

  /// Gives a file or directory the complete new path `to`. Makes missing parent directories of
  /// `to`. Returns the file at its new path.
  ///
  /// Refuses invalid names (FILE_NAME_NOT_SUPPORTED), a missing source (FILE_NOT_FOUND), a source
  /// that may not be written (FILE_ACCESS_DENIED), and an existing `to` (FILE_EXISTS). Also if `to`
  /// appears after that check, or is a link that leads nowhere, nothing is replaced: the platform
  /// then throws FileExistsError.
  ///
  /// The rename is atomic. The platform throws if `to` is on another file system. Parent
  /// directories that were made stay if the rename fails.
  virtual Future<FileInfo> rename(const ustring& from, const ustring& to) = 0;

  /// Moves a file or directory, under its own name, into the existing directory `to`. Returns it at
  /// its new place.
  ///
  /// Refuses invalid names (FILE_NAME_NOT_SUPPORTED), a missing source or destination
  /// (FILE_NOT_FOUND), and an entry of that name in the destination (FILE_EXISTS). A directory is
  /// not moved into or beneath itself: SystemError with EINVAL before anything is changed.
  ///
  /// A file is copied, then deleted at the source. Contents, holes, permission bits, access ACL and
  /// modification time stay, and owner and group where the system permits. If the source changes
  /// meanwhile, SystemError with EBUSY is thrown and the source stays. A failed copy leaves only
  /// the source, a failed deletion leaves both.
  ///
  /// A directory is made anew, and its entries are moved one by one. Before the first one it is
  /// closed to everybody but its owner. After the last one the source directory is deleted, and the
  /// new one gets its attributes, as a file does; if that fails, everything is moved all the same.
  /// Entries whose name begins with a dot or has one character stay in the source directory, which
  /// the platform then refuses to delete. A failure half-way leaves the entries moved so far at the
  /// target, which stays closed, and the rest at the source.
  ///
  /// A link to a file becomes a copy of the file. Any other link is moved as a link, and so is an
  /// entry of a moved directory that leads nowhere. The link keeps its text; a relative link may
  /// lead nowhere afterwards.
  virtual Future<FileInfo> move(const ustring& from, const ustring& to) = 0;

  /// Deletes a file, a link, or a directory with everything beneath it. A link's target stays.
  /// Returns the description of the path, now missing. Refuses an invalid name
  /// (FILE_NAME_NOT_SUPPORTED) and a missing path or dangling link (FILE_NOT_FOUND). Repeats a
  /// failed deletion for about a second, blocking the caller, and then throws the platform's last
  /// exception. Part of a directory may then be gone.
  virtual Future<FileInfo> remove(const ustring& path) = 0;

  /// Describes the path; the empty path is the current directory. A missing path is described as
  /// deleted. Changes nothing.
  virtual Future<FileInfo> info(const ustring& path) = 0;

  /// Returns the entries of a directory, without those whose name begins with a dot, in the
  /// system's order. The empty path is the current directory, and a file has no entries. Refuses an
  /// invalid name (FILE_NAME_NOT_SUPPORTED) and a missing path (FILE_NOT_FOUND). An entry that is
  /// made or removed meanwhile may be in the list or not. Changes nothing.
  virtual Future<std::vector<FileInfo>> list(const ustring& path) = 0;

  /// Whether the path, received or absolute, exists. Changes nothing.
  virtual Future<bool> exists(const fl::filesystem::upath& path) = 0;

  /// A further owner. Throws std::bad_weak_ptr when no std::shared_ptr owns the service.
  virtual std::shared_ptr<FileService> getPtr() = 0;

protected:
  FileService();
  FileService(const FileService&) = default;
  FileService& operator=(const FileService&) = default;
};

} // namespace connector::file::v1
