#pragma once

#include <connector/file/v1/Export.h>
#include <connector/file/v1/Future.h>

#include <connector/Message.h>
#include <connector/file_common/v1/File.h>
#include <connector/file_common/v1/FileInfo.h>

#include <memory>
#include <vector>

namespace connector {

namespace file::v1 {

using file_common::v1::DataBuffer;
using file_common::v1::File;
using file_common::v1::FileAttributes;
using file_common::v1::FileInfo;

} // namespace file::v1

// Instantiated once, in the library, for every result of the file service.

extern template class detail::SharedFutureState<bool>;
extern template class detail::SharedFutureState<file::v1::File>;
extern template class detail::SharedFutureState<file::v1::FileInfo>;
extern template class detail::SharedFutureState<std::vector<file::v1::FileInfo>>;
extern template class detail::SharedFutureState<std::unique_ptr<Message>>;

extern template class Future<bool>;
extern template class Future<file::v1::File>;
extern template class Future<file::v1::FileInfo>;
extern template class Future<std::vector<file::v1::FileInfo>>;
extern template class Future<std::unique_ptr<Message>>;

extern template class Promise<bool>;
extern template class Promise<file::v1::File>;
extern template class Promise<file::v1::FileInfo>;
extern template class Promise<std::vector<file::v1::FileInfo>>;
extern template class Promise<std::unique_ptr<Message>>;

} // namespace connector
