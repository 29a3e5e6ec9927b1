#pragma once

#include <cstdint>

#pragma GCC visibility push(default)

namespace connector::common::v1 {

class Version {
public:
  /// 0.0, the version of a message without one.
  constexpr Version() = default;

  constexpr Version(std::uint16_t majorNumber, std::uint16_t minorNumber)
      : major_(majorNumber)
      , minor_(minorNumber) {}

  /// The framework's current version.
  static constexpr Version current() noexcept { return {1, 0}; }

  [[nodiscard]] constexpr std::uint16_t getMajor() const noexcept { return major_; }

  [[nodiscard]] constexpr std::uint16_t getMinor() const noexcept { return minor_; }

private:
  std::uint16_t major_ = 0;
  std::uint16_t minor_ = 0;
};

} // namespace connector::common::v1

#pragma GCC visibility pop
