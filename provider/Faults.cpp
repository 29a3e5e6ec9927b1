#include "Faults.h"

#include <connector/file/v1/FileServiceException.h>

#include <fl/filesystem/exceptions.h>
#include <fl/log/Logger.h>

#include <cerrno>
#include <exception>
#include <text/Utf8.h>
#include <utility>

namespace connector::file::v1 {

using common::v1::Fault;
using common::v1::FaultCondition;

namespace {

Fault faultOf(const std::string& code, const std::string& message, const std::string& condition,
              std::vector<std::u16string> paths) {
  std::vector<FaultCondition> conditions;
  conditions.emplace_back(condition, std::move(paths));
  return {code, message, std::move(conditions)};
}

Fault faultOf(const FileServiceException& refusal) {
  return faultOf(refusal.getId(), text::toUtf8(refusal.getMessage()), refusal.getCondition(),
                 refusal.getPaths());
}

const std::string& conditionOf(const fl::filesystem::SystemError& error) {
  switch (error.get_error_code()) {
  case ENOSPC:
    return FaultCondition::OVER_DISK_QUOTA;
  case EFBIG:
    return FaultCondition::FILE_TOO_BIG;
  case EBUSY:
    return FaultCondition::RESOURCE_IN_USE;
  case EINVAL:
    return FaultCondition::FILE_NAME_NOT_SUPPORTED;
  default:
    return FaultCondition::FILE_IO_GENERIC;
  }
}

/// Returns the condition for the exception that is being handled. AccessDenied becomes
/// FOLDER_ACCESS_DENIED even if the path is a file. Only refusals have FILE_ACCESS_DENIED.
const std::string& currentCondition() {
  try {
    throw;
  } catch (const fl::filesystem::AccessDenied&) {
    return FaultCondition::FOLDER_ACCESS_DENIED;
  } catch (const fl::filesystem::FileNameConversionFailure&) {
    return FaultCondition::FILE_NAME_NOT_SUPPORTED;
  } catch (const fl::filesystem::FileNameTooLarge&) {
    return FaultCondition::FILE_NAME_NOT_SUPPORTED;
  } catch (const fl::filesystem::CvtInvalidCharacter&) {
    return FaultCondition::FILE_NAME_NOT_SUPPORTED;
  } catch (const fl::filesystem::PathNotFound&) {
    return FaultCondition::FILE_NOT_FOUND;
  } catch (const fl::filesystem::FileExistsError&) {
    return FaultCondition::FILE_EXISTS;
  } catch (const fl::filesystem::DirectoryNotEmpty&) {
    return FaultCondition::FOLDER_NOT_EMPTY;
  } catch (const fl::filesystem::NotDirectoryError&) {
    return FaultCondition::NOT_A_FOLDER;
  } catch (const fl::filesystem::SystemError& error) {
    return conditionOf(error);
  } catch (...) {
    return FaultCondition::FILE_IO_GENERIC;
  }
}

/// Returns the text of the exception that is being handled.
std::string currentText() {
  try {
    throw;
  } catch (const std::exception& error) {
    return error.what();
  } catch (...) {
    return "unknown";
  }
}

/// Logs the exception's text, which the fault does not contain.
void logText(const std::string& contextText, const std::string& what) {
  try {
    fl::log::Logger("connector::file").warning(contextText + ": " + what);
  } catch (...) {
    return; // a failure to log must not prevent the response
  }
}

} // namespace

Fault currentFault(const std::string& contextText, const std::vector<std::u16string>& paths) {
  try {
    throw;
  } catch (const FileServiceException& refusal) {
    return faultOf(refusal);
  } catch (...) {
    logText(contextText, currentText());
    return faultOf(FileServiceException::IO_ERROR, contextText, currentCondition(), paths);
  }
}

} // namespace connector::file::v1
