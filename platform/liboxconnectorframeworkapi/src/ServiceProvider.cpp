#include <connector/ServiceProvider.h>

namespace connector {

Lifecycle::~Lifecycle() = default;

void Lifecycle::start() {
  onStart();
  running = true;
}

void Lifecycle::stop() {
  running = false;
  onStop();
}

} // namespace connector
