#pragma once

#include <string>
#include <utility>

#pragma GCC visibility push(default)

namespace fl::filesystem {

/// A path in UTF-16, received or absolute. Converts implicitly to a string, so that it can be
/// passed to every function that takes one.
class upath {
public:
  explicit upath(std::u16string text)
      : text_(std::move(text)) {}

  [[nodiscard]] const std::u16string& string() const& noexcept { return text_; }

  [[nodiscard]] std::u16string string() && noexcept { return std::move(text_); }

  // NOLINTNEXTLINE(google-explicit-constructor): part of the contract.
  operator const std::u16string&() const noexcept { return text_; }

private:
  std::u16string text_;
};

} // namespace fl::filesystem

#pragma GCC visibility pop
