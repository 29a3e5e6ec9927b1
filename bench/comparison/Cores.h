#pragma once

#include <cerrno>
#include <cstddef>
#include <sched.h>
#include <system_error>

namespace connector::bench {

/// Splits the cores that this process may use between a client and the services. Otherwise the
/// kernel sometimes puts both on one core, where a round trip is several times cheaper: the times
/// would depend on the placement and not on the service.
class Cores {
public:
  Cores() {
    cpu_set_t all;
    CPU_ZERO(&all);
    if (::sched_getaffinity(0, sizeof all, &all) != 0) {
      throw std::system_error(errno, std::generic_category(), "sched_getaffinity");
    }
    client_ = all;
    services_ = all;
    if (CPU_COUNT(&all) < 2) {
      return;
    }
    CPU_ZERO(&client_);
    for (std::size_t core = 0; CPU_COUNT(&client_) == 0; ++core) {
      if (CPU_ISSET(core, &all)) {
        CPU_SET(core, &client_);
        CPU_CLR(core, &services_);
      }
    }
  }

  // Each takes effect for this thread and for every process that it starts later.

  void useClientCore() const { use(client_); }

  void useServiceCores() const { use(services_); }

private:
  static void use(const cpu_set_t& cores) {
    if (::sched_setaffinity(0, sizeof cores, &cores) != 0) {
      throw std::system_error(errno, std::generic_category(), "sched_setaffinity");
    }
  }

  cpu_set_t client_;
  cpu_set_t services_;
};

} // namespace connector::bench
