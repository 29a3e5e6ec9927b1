#pragma once

#include <fl/filesystem/exceptions.h>

#include <boost/core/demangle.hpp>
#include <boost/locale/encoding_utf.hpp>

#include <cstdint>
#include <ostream>
#include <string>
#include <tuple>
#include <typeinfo>

namespace fl::filesystem::test {

/// What a call threw: class, code and path. All empty when it threw nothing.
struct Failure {
  std::string type;
  std::uint32_t code = 0;
  std::u16string path;

  friend bool operator==(const Failure& left, const Failure& right) {
    return std::tie(left.type, left.code, left.path) ==
           std::tie(right.type, right.code, right.path);
  }

  friend std::ostream& operator<<(std::ostream& out, const Failure& failure) {
    return out << failure.type << ' ' << failure.code << ' '
               << boost::locale::conv::utf_to_utf<char>(failure.path);
  }
};

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

} // namespace fl::filesystem::test
