#pragma once

#include <string>
#include <vector>

#pragma GCC visibility push(default)

namespace connector::common::v1 {

/// The cause of a failure, and the paths that it concerns. The value of each constant is its name.
class FaultCondition {
public:
  static inline const std::string FILE_NOT_FOUND = "FILE_NOT_FOUND";
  static inline const std::string FILE_EXISTS = "FILE_EXISTS";
  static inline const std::string FILE_ACCESS_DENIED = "FILE_ACCESS_DENIED";
  static inline const std::string FILE_IO_GENERIC = "FILE_IO_GENERIC";
  static inline const std::string FILE_NAME_NOT_SUPPORTED = "FILE_NAME_NOT_SUPPORTED";
  static inline const std::string FILE_TOO_BIG = "FILE_TOO_BIG";
  static inline const std::string FOLDER_ACCESS_DENIED = "FOLDER_ACCESS_DENIED";
  static inline const std::string FOLDER_NOT_EMPTY = "FOLDER_NOT_EMPTY";
  static inline const std::string NOT_A_FOLDER = "NOT_A_FOLDER";
  static inline const std::string OVER_DISK_QUOTA = "OVER_DISK_QUOTA";
  static inline const std::string RESOURCE_IN_USE = "RESOURCE_IN_USE";

  FaultCondition(const std::string& id, std::vector<std::u16string>&& info);

  [[nodiscard]] const std::string& getId() const noexcept { return id_; }

  [[nodiscard]] const std::vector<std::u16string>& getInfo() const noexcept { return info_; }

private:
  std::string id_;
  std::vector<std::u16string> info_;
};

/// A failed operation as the response reports it. Texts are UTF-8.
class Fault {
public:
  Fault(const std::string& code, const std::string& message,
        std::vector<FaultCondition>&& conditions);

  [[nodiscard]] const std::string& getCode() const noexcept { return code_; }

  [[nodiscard]] const std::string& getMessage() const noexcept { return message_; }

  [[nodiscard]] const std::vector<FaultCondition>& getConditions() const noexcept {
    return conditions_;
  }

private:
  std::string code_;
  std::string message_;
  std::vector<FaultCondition> conditions_;
};

} // namespace connector::common::v1

#pragma GCC visibility pop
