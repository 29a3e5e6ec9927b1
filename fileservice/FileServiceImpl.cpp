#include <connector/file/v1/FileServiceImpl.h>

namespace connector::file::v1 {

FileService::FileService() = default;
FileService::~FileService() = default;

FileServiceImpl::FileServiceImpl() = default;
FileServiceImpl::~FileServiceImpl() = default;

std::shared_ptr<FileService> FileServiceImpl::getPtr() {
  return shared_from_this();
}

} // namespace connector::file::v1
