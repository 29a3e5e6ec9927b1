#pragma once

#include <boost/core/noncopyable.hpp>

#pragma GCC visibility push(default)

namespace connector {

/// Base class of all messages. The framework passes them as std::unique_ptr<Message>.
class Message : private boost::noncopyable {
public:
  virtual ~Message() = default;
};

} // namespace connector

#pragma GCC visibility pop
