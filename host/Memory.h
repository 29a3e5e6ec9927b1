#pragma once

namespace connector::host {

// NOLINTNEXTLINE(readability-identifier-naming): the name is the allocator's.
extern "C" __attribute__((weak)) void MallocExtension_ReleaseFreeMemory();

/// Lets the allocator return freed memory to the system. Otherwise the process would keep the
/// copies of one long text beside those of the next. The allocators of sanitizers lack this
/// function.
inline void releaseFreeMemory() {
  if (MallocExtension_ReleaseFreeMemory != nullptr) {
    MallocExtension_ReleaseFreeMemory();
  }
}

} // namespace connector::host
