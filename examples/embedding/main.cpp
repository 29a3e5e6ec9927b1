// Links the library, as most programs do.

#include "answer.h"

#include <exception>
#include <iostream>

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "usage: embedding TYPE JSON\n";
    return 2;
  }
  try {
    printAnswer(argv[1], argv[2]);
  } catch (const std::exception& e) {
    std::cerr << e.what() << '\n';
    return 1;
  }
}
