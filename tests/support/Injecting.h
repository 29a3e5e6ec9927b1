#pragma once

#include "support/Shell.h"

namespace connector::test {

/// Whether strace can make system calls fail here: it may be missing, too old or not allowed to.
inline bool canInject() {
  return runShell("strace -o /dev/null -e inject=sync:error=EIO:when=1..2 true 2> /dev/null")
             .status == 0;
}

} // namespace connector::test
