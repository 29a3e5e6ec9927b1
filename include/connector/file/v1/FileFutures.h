#pragma once

#include <connector/file/v1/Export.h>
#include <connector/file/v1/Future.h>

#include <connector/file_common/v1/File.h>
#include <connector/file_common/v1/FileInfo.h>

#include <vector>

namespace connector {

namespace file::v1 {

using file_common::v1::DataBuffer;
using file_common::v1::File;
using file_common::v1::FileAttributes;
using file_common::v1::FileInfo;

} // namespace file::v1

// Instantiated in the library: the results of the file service.

extern template class detail::SharedFutureState<file::v1::File>;
extern template class detail::SharedFutureState<file::v1::FileInfo>;
extern template class detail::SharedFutureState<std::vector<file::v1::FileInfo>>;

extern template class Future<file::v1::File>;
extern template class Future<file::v1::FileInfo>;
extern template class Future<std::vector<file::v1::FileInfo>>;

extern template class Promise<file::v1::File>;
extern template class Promise<file::v1::FileInfo>;
extern template class Promise<std::vector<file::v1::FileInfo>>;

} // namespace connector
