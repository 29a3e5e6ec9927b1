#include <connector/file/v1/Future.h>

namespace connector {

template class detail::SharedFutureState<bool>;
template class Future<bool>;
template class Promise<bool>;

} // namespace connector
