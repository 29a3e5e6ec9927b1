#pragma once

#include <cerrno>
#include <cstddef>
#include <sched.h>
#include <system_error>

namespace connector::bench {

/// The cores that this process may use, parted between a client and what it talks to. Left to
/// itself the system now and then puts both on one core, which makes a round trip several times
/// cheaper: a run would tell where they happened to be, and not how fast they are.
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

  // From here on, for this thread and whatever it starts.

  void useClients() const { use(client_); }

  void useServices() const { use(services_); }

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
