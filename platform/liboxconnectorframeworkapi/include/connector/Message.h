#pragma once

#include <boost/core/noncopyable.hpp>

#pragma GCC visibility push(default)

namespace connector {

/// The base of all that the framework delivers, always as std::unique_ptr<Message>.
class Message : private boost::noncopyable {
public:
  virtual ~Message() = default;
};

} // namespace connector

#pragma GCC visibility pop
