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

/// The file operations, on paths in UTF-16. A relative path is taken from the process's current
/// folder. Every operation runs to its end inside the call: the returned Future has its result. A
/// refusal is a Future that holds a FileServiceException; what the platform throws (the
/// fl::filesystem exceptions) leaves the call itself. Operations may be called from several threads
/// at once and race only through the file system: nothing stands still between an operation's
/// checks and its effect, and such a race surfaces as a platform exception, as the effect of
/// whoever came last, or, when two make the same missing parent folder, as a refusal of what now
/// exists.
///
/// Every FileInfo that is returned has an absolute location and is a fresh look at the disk.
class CONNECTOR_FILE_EXPORT FileService : public std::enable_shared_from_this<FileService> {
public:
  virtual ~FileService();

  /// Writes a new file, or makes a folder when the File's FileInfo is a directory's; missing parent
  /// folders are made first, one level at a time. An existing file is written over only with
  /// `overwrite`, an existing folder never. Returns the new file. Refuses an invalid name
  /// (FILE_NAME_NOT_SUPPORTED), what exists (FILE_EXISTS), a file that may not be written
  /// (FILE_ACCESS_DENIED), a folder that may not be written (FOLDER_ACCESS_DENIED) or is full
  /// (OVER_DISK_QUOTA). Not atomic: a reader may see the file half-written, and a failed write
  /// leaves it so, emptied first; parent folders made stay.
  virtual Future<FileInfo> create(File&& file, bool overwrite) = 0;

  /// Reads the file as `read` does, after making it, empty, when nothing is there. Refuses an
  /// invalid name (FILE_NAME_NOT_SUPPORTED), a folder (FILE_IO_GENERIC), a file that may not be
  /// read (FILE_ACCESS_DENIED), and for a missing file a folder that may not be written
  /// (FOLDER_ACCESS_DENIED), is missing itself (the same) or is full (OVER_DISK_QUOTA). A file that
  /// another process makes meanwhile is read, never emptied; a file made stays when reading fails.
  virtual Future<File> openOrCreate(const ustring& path) = 0;

  /// Reads the file as `read` does, after checking that its name is valid
  /// (FILE_NAME_NOT_SUPPORTED), that it exists and that it is no folder (FILE_NOT_FOUND for both).
  /// Changes nothing.
  virtual Future<File> open(const ustring& path) = 0;

  /// The contents and the description of a regular file of less than 20,000,000 bytes, in one
  /// read. Anything else that is missing or no regular file fails with a plain std::runtime_error;
  /// refuses a file that may not be read (FILE_ACCESS_DENIED), is too big or cannot be opened
  /// (FILE_IO_GENERIC). Throws std::runtime_error("Out of memory!"), and SystemError when the disk
  /// fails in the middle. A file that changes while it is read may come out mixed, one that shrinks
  /// comes out shorter. Changes nothing.
  virtual Future<File> read(const ustring& path) = 0;

  /// Writes the File's contents over an existing file. Returns the file. Refuses an invalid name
  /// (FILE_NAME_NOT_SUPPORTED), a missing file (FILE_NOT_FOUND), one that may not be written
  /// (FILE_ACCESS_DENIED) and a folder (FILE_IO_GENERIC). Not atomic: the file is emptied first,
  /// and a failed write leaves what was written so far.
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

  /// Deletes a file, a link, or a folder with everything beneath it; a link's target stays. Returns
  /// the description of the path, now missing. Refuses an invalid name (FILE_NAME_NOT_SUPPORTED)
  /// and a missing path (FILE_NOT_FOUND), which a link that leads nowhere is, too. A deletion that
  /// fails is tried again for about a second, blocking the caller, and then throws what the
  /// platform threw; part of a folder may be gone.
  virtual Future<FileInfo> remove(const ustring& path) = 0;

  /// Describes the path; the empty path is the current folder. A missing path is described as
  /// deleted. Changes nothing.
  virtual Future<FileInfo> info(const ustring& path) = 0;

  /// The entries of a folder, without those whose name begins with a dot, in the system's order;
  /// the empty path is the current folder, and a file has no entries. Refuses an invalid name
  /// (FILE_NAME_NOT_SUPPORTED) and a missing path (FILE_NOT_FOUND). An entry that is made or
  /// removed meanwhile may be in the list or not. Changes nothing.
  virtual Future<std::vector<FileInfo>> list(const ustring& path) = 0;

  /// Whether anything is at the path, which is taken as it is. Changes nothing.
  virtual Future<bool> exists(const fl::filesystem::upath& path) = 0;

  /// A further owner. Throws std::bad_weak_ptr when no std::shared_ptr owns the service.
  virtual std::shared_ptr<FileService> getPtr() = 0;

protected:
  FileService();
  FileService(const FileService&) = default;
  FileService& operator=(const FileService&) = default;
};

} // namespace connector::file::v1
