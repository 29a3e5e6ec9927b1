#pragma once

#include "support/ScratchDirectory.h"

#include <fl/filesystem/exceptions.h>

#include <boost/core/demangle.hpp>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <tuple>
#include <typeinfo>

namespace fl::filesystem::test {

/// The exception of a call: class, code and path, or empty values without one.
using Failure = std::tuple<std::string, std::uint32_t, std::u16string>;

template <typename Error>
Failure failure(int code, const std::u16string& path) {
  return {boost::core::demangle(typeid(Error).name()), static_cast<std::uint32_t>(code), path};
}

template <typename Call>
Failure failureOf(const Call& call) {
  try {
    call();
  } catch (const FsysExceptionBase& error) {
    return {boost::core::demangle(typeid(error).name()), error.get_error_code(), error.get_path()};
  }
  return {};
}

class FilesystemTest : public connector::test::ScratchDirectory {
protected:
  /// Expects this failure, where `Failure{}` means none, and an unchanged disk.
  template <typename Call>
  void expectRefusal(const Call& call, const Failure& expected) {
    const auto before = disk();
    EXPECT_EQ(failureOf(call), expected);
    EXPECT_EQ(disk(), before);
  }
};

} // namespace fl::filesystem::test
