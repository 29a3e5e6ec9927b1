#include "host/Confinement.h"
#include "support/ChildProcess.h"
#include "support/Machine.h"
#include "support/ScratchFolder.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <fcntl.h>

namespace connector::test {

using ConfinedProcess = ScratchFolder;

// Without file operations, because they refuse most paths outside before the kernel does.
TEST_F(ConfinedProcess, OpensNothingOutsideItsRootsAndOnlyReadsIfReadOnly) {
  if (!canConfine()) {
    GTEST_SKIP() << "this kernel has no Landlock of version 2";
  }
  writeFile("root/file");
  writeFile("outside/file");
  for (const bool readOnly : {false, true}) {
    inChildProcess([this, readOnly] {
      EXPECT_EQ(host::confine({at("root")}, readOnly).size(), 1U);
      const auto errorOf = [this](const char* name, int flags) {
        return ::open(at(name).c_str(), flags | O_CLOEXEC) < 0 ? errno : 0;
      };
      EXPECT_EQ(errorOf("outside/file", O_RDONLY), EACCES);
      EXPECT_EQ(errorOf("outside/file", O_WRONLY), EACCES);
      EXPECT_EQ(errorOf("outside", O_RDONLY | O_DIRECTORY), EACCES);
      EXPECT_EQ(errorOf("root/file", O_RDONLY), 0);
      EXPECT_EQ(errorOf("root/file", O_WRONLY), readOnly ? EACCES : 0);
    });
  }
}

} // namespace connector::test
