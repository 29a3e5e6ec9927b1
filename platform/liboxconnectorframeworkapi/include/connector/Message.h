#pragma once

#include <boost/core/noncopyable.hpp>

namespace connector {

/// What travels through the framework, always as std::unique_ptr<Message>.
class Message : private boost::noncopyable {
public:
  virtual ~Message();
};

} // namespace connector
