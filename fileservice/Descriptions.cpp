#include "Descriptions.h"

#include "PlatformValues.h"

#include <connector/file_common/v1/FileNames.h>

#include <boost/date_time/posix_time/posix_time_types.hpp>

#include <cstdint>
#include <utility>

namespace connector::file::v1 {

using fl::filesystem::file_status;
using fl::filesystem::upath;

namespace {

std::int64_t secondsSinceEpoch(const boost::posix_time::ptime& time) {
  using namespace boost::posix_time;
  static const ptime epoch(boost::gregorian::date(1970, 1, 1), time_duration(0, 0, 0));
  return (time - epoch).total_microseconds() / 1'000'000;
}

bool isWritable(const upath& path, bool isDirectory) {
  if (isDirectory) {
    return file_common::v1::isWritableDirectory(path, false) == 0;
  }
  return fl::filesystem::access(path, WRITE_ACCESS);
}

} // namespace

FileInfo makeFileInfo(upath path) {
  const file_status st = fl::filesystem::status(path);
  return makeFileInfo(std::move(path), st);
}

FileInfo makeFileInfo(upath path, const file_status& st) {
  const bool isDirectory = file_status::is_directory(st);
  const bool present = fl::filesystem::exists(path.string());
  const bool canWrite = isWritable(path, isDirectory);

  FileInfo info(std::move(path).string(), isDirectory);
  info.setAttribute(FileAttributes::IS_SHARED, false);
  info.setAttribute(FileAttributes::CAN_WRITE, canWrite);
  info.setAttribute(FileAttributes::DELETED, !present);
  info.setAttribute(FileAttributes::SIZE, std::uint64_t{st.size()});
  info.setAttribute(FileAttributes::MODIFIED, secondsSinceEpoch(st.last_write_time()));
  return info;
}

} // namespace connector::file::v1
