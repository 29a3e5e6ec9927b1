// Opens the library at run time. The library exports C++ classes, whose constructors and type
// information should not be looked up by name. The code that uses them is therefore a module, which
// is compiled against the headers but not linked against the library. The loader resolves its
// undefined symbols in the library, because that was opened before with RTLD_GLOBAL.

#include "answer.h"

#include <dlfcn.h>
#include <exception>
#include <iostream>
#include <stdexcept>

namespace {

// Never closes the library or the module: objects of their classes may outlive any scope.
void* open(const char* library, int visibility) {
  void* const handle = dlopen(library, RTLD_NOW | visibility);
  if (handle == nullptr) {
    throw std::runtime_error(dlerror());
  }
  return handle;
}

} // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    std::cerr << "usage: load MODULE TYPE JSON\n";
    return 2;
  }
  try {
    open("liboxconnectorfileimpl.so.1", RTLD_GLOBAL);
    void* const module = open(argv[1], RTLD_LOCAL);
    const auto print = reinterpret_cast<decltype(&printAnswer)>(dlsym(module, "printAnswer"));
    if (print == nullptr) {
      throw std::runtime_error(dlerror());
    }
    print(argv[2], argv[3]);
  } catch (const std::exception& e) {
    std::cerr << e.what() << '\n';
    return 1;
  }
}
