#pragma once

#include <boost/container/small_vector.hpp>

#include <string_view>

namespace fl::filesystem::detail {

/// The bytes of a path for the length of a system call, most often without memory from the heap.
/// Throws as utf16_to_native.
class native_path {
public:
  explicit native_path(std::u16string_view path)
      : native_path(path, path) {}

  /// Of a path that is part of another, for which errors are thrown.
  native_path(std::u16string_view path, std::u16string_view whole);

  [[nodiscard]] const char* c_str() const noexcept { return bytes_.data(); }

private:
  boost::container::small_vector<char, 256> bytes_;
};

} // namespace fl::filesystem::detail
