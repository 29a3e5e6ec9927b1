#pragma once

#include <string>
#include <utility>

#pragma GCC visibility push(default)

namespace fl::filesystem {

/// A path as UTF-16 text, received or absolute; every function that takes a string takes a upath.
class upath {
public:
  upath() = default;

  explicit upath(std::u16string text)
      : text_(std::move(text)) {}

  [[nodiscard]] const std::u16string& string() const& noexcept { return text_; }

  [[nodiscard]] std::u16string string() && noexcept { return std::move(text_); }

  [[nodiscard]] bool empty() const noexcept { return text_.empty(); }

  // NOLINTNEXTLINE(google-explicit-constructor): a path stands wherever its text may stand.
  operator const std::u16string&() const noexcept { return text_; }

private:
  std::u16string text_;
};

} // namespace fl::filesystem

#pragma GCC visibility pop
