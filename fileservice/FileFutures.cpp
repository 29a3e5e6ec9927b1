#include <connector/file/v1/FileFutures.h>

namespace connector {

template class detail::SharedFutureState<file::v1::File>;
template class detail::SharedFutureState<file::v1::FileInfo>;
template class detail::SharedFutureState<std::vector<file::v1::FileInfo>>;

template class Future<file::v1::File>;
template class Future<file::v1::FileInfo>;
template class Future<std::vector<file::v1::FileInfo>>;

template class Promise<file::v1::File>;
template class Promise<file::v1::FileInfo>;
template class Promise<std::vector<file::v1::FileInfo>>;

} // namespace connector
