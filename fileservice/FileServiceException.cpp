#include <connector/file/v1/FileServiceException.h>

#include <text/Utf8.h>
#include <utility>

namespace connector::file::v1 {

namespace {

std::string describe(const std::string& id, const fl::i18n::ustring& message) {
  return "An error occurred in the fileservice, " + id + " " + text::toUtf8(message);
}

} // namespace

FileServiceException::FileServiceException(std::string id, fl::i18n::ustring message,
                                           std::string condition,
                                           std::vector<fl::i18n::ustring> paths)
    : std::runtime_error(describe(id, message))
    , id(std::move(id))
    , message(std::move(message))
    , condition(std::move(condition))
    , paths(std::move(paths)) {}

} // namespace connector::file::v1
