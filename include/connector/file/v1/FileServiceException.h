#pragma once

#include <connector/file/v1/Export.h>

#include <fl/i18n/ustring.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace connector::file::v1 {

/// A refusal of the file service. It is never thrown by an operation: it is the failure of the
/// operation's Future. `what()` is "An error occurred in the fileservice, ", the id, a blank and
/// the message in UTF-8.
class CONNECTOR_FILE_EXPORT FileServiceException : public std::runtime_error {
public:
  /// The id of every refusal that the service makes itself.
  static constexpr auto IO_ERROR = "FileService.IOError";

  FileServiceException(std::string id, fl::i18n::ustring message, std::string condition,
                       std::vector<fl::i18n::ustring> paths);

  [[nodiscard]] const std::string& getId() const noexcept { return id_; }

  [[nodiscard]] const fl::i18n::ustring& getMessage() const noexcept { return message_; }

  /// One of the FaultCondition constants.
  [[nodiscard]] const std::string& getCondition() const noexcept { return condition_; }

  /// What the condition is about: received or absolute paths or file names, as each check states.
  [[nodiscard]] const std::vector<fl::i18n::ustring>& getPaths() const noexcept { return paths_; }

private:
  std::string id_;
  fl::i18n::ustring message_;
  std::string condition_;
  std::vector<fl::i18n::ustring> paths_;
};

} // namespace connector::file::v1
