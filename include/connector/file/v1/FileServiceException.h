#pragma once

#include <connector/file/v1/Export.h>

#include <fl/i18n/ustring.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace connector::file::v1 {

/// A refusal of the file service. Operations do not throw it: their Future holds it. `what()` is
/// "An error occurred in the fileservice, ", the id, a space and the message in UTF-8.
class CONNECTOR_FILE_EXPORT FileServiceException : public std::runtime_error {
public:
  /// The id of every refusal of the service.
  static constexpr auto IO_ERROR = "FileService.IOError";

  FileServiceException(std::string id, fl::i18n::ustring message, std::string condition,
                       std::vector<fl::i18n::ustring> paths);

  [[nodiscard]] const std::string& getId() const noexcept { return id; }

  [[nodiscard]] const fl::i18n::ustring& getMessage() const noexcept { return message; }

  /// One of the FaultCondition constants.
  [[nodiscard]] const std::string& getCondition() const noexcept { return condition; }

  /// The file names or paths that the condition is about, as received or absolute. For a file that
  /// is too big, a text with the path.
  [[nodiscard]] const std::vector<fl::i18n::ustring>& getPaths() const noexcept { return paths; }

private:
  std::string id;
  fl::i18n::ustring message;
  std::string condition;
  std::vector<fl::i18n::ustring> paths;
};

} // namespace connector::file::v1
