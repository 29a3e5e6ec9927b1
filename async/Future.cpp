#include <connector/file/v1/FileFutures.h>

namespace connector {

template class detail::SharedFutureState<bool>;
template class detail::SharedFutureState<file::v1::File>;
template class detail::SharedFutureState<file::v1::FileInfo>;
template class detail::SharedFutureState<std::vector<file::v1::FileInfo>>;
template class detail::SharedFutureState<std::unique_ptr<Message>>;

template class Future<bool>;
template class Future<file::v1::File>;
template class Future<file::v1::FileInfo>;
template class Future<std::vector<file::v1::FileInfo>>;
template class Future<std::unique_ptr<Message>>;

template class Promise<bool>;
template class Promise<file::v1::File>;
template class Promise<file::v1::FileInfo>;
template class Promise<std::vector<file::v1::FileInfo>>;
template class Promise<std::unique_ptr<Message>>;

} // namespace connector
