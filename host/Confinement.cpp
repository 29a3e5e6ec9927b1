#include "Confinement.h"

#include <cstdint>
#include <fcntl.h>
#include <linux/landlock.h>
#include <posix/Descriptor.h>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <utility>

namespace connector::host {

namespace {

// Earlier versions do not let a file be renamed from one directory to another.
constexpr long OLDEST_VERSION = 2;

constexpr std::uint64_t READING = LANDLOCK_ACCESS_FS_READ_FILE | LANDLOCK_ACCESS_FS_READ_DIR;

// Rights that the oldest supported kernel headers lack.
constexpr std::uint64_t TRUNCATE = 1ULL << 14U;  // version 3
constexpr std::uint64_t IOCTL_DEV = 1ULL << 15U; // version 5

/// Returns every right that this kernel knows. The process keeps each only where a rule allows it.
std::uint64_t allRights(long version) {
  std::uint64_t rights = (LANDLOCK_ACCESS_FS_REFER << 1U) - 1;
  if (version >= 3) {
    rights |= TRUNCATE;
  }
  if (version >= 5) {
    rights |= IOCTL_DEV;
  }
  return rights;
}

long supportedVersion() {
  const long version =
      syscall(SYS_landlock_create_ruleset, nullptr, 0, LANDLOCK_CREATE_RULESET_VERSION);
  if (version < OLDEST_VERSION) {
    throw std::runtime_error("--root and --read-only need a kernel with Landlock version 2 (Linux "
                             "5.19 or later, with Landlock enabled)");
  }
  return version;
}

int openDirectory(const std::string& path) {
  return posix::check(open(path.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC), "--root " + path);
}

void allow(const posix::Descriptor& ruleset, int directory, std::uint64_t rights) {
  landlock_path_beneath_attr rule{};
  rule.allowed_access = rights;
  rule.parent_fd = directory;
  posix::check(syscall(SYS_landlock_add_rule, ruleset.get(), LANDLOCK_RULE_PATH_BENEATH, &rule, 0),
               "Landlock");
}

} // namespace

std::vector<int> confine(const std::vector<std::string>& roots, bool readOnly) {
  const std::uint64_t all = allRights(supportedVersion());
  landlock_ruleset_attr attributes{};
  attributes.handled_access_fs = all;
  const posix::Descriptor ruleset(posix::check(
      syscall(SYS_landlock_create_ruleset, &attributes, sizeof attributes, 0), "Landlock"));

  const std::uint64_t rights = readOnly ? READING : all;
  std::vector<int> opened;
  for (const auto& root : roots) {
    opened.push_back(openDirectory(root));
    allow(ruleset, opened.back(), rights);
  }
  if (roots.empty()) {
    allow(ruleset, posix::Descriptor(openDirectory("/")).get(), rights);
  }
  posix::check(prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0), "Landlock");
  posix::check(syscall(SYS_landlock_restrict_self, ruleset.get(), 0), "Landlock");
  if (!roots.empty()) {
    posix::check(fchdir(opened.front()), "--root " + roots.front());
  }
  return opened;
}

} // namespace connector::host
