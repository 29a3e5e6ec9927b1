#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace connector::host {

/// Reads the tokens of a JSON text without keeping the text or checking its syntax. The client of a
/// message that is invalid, or that is skipped because it is too long, needs its `id` in the reply.
class MessageScanner {
public:
  /// Takes the next bytes of the text.
  void scan(std::string_view bytes);

  /// The JSON text of the object's own member `id`; empty if none was found, if it is an object or
  /// array, or if it is longer than 1 KiB. It may be invalid JSON.
  [[nodiscard]] const std::string& id() const { return id_; }

  /// The number of brackets, separators and scalars so far.
  [[nodiscard]] std::size_t tokens() const { return tokens_; }

private:
  std::size_t scanString(std::string_view bytes);
  void scanByte(char byte);
  void open(char bracket);
  void close();
  void beginScalar();
  void keep(std::string_view bytes);
  void endKey();
  void endMember();
  void forgetScalar();

  std::size_t tokens_ = 0;
  std::size_t depth_ = 0;
  bool isEnded_ = false; ///< after the object, or in an array
  bool inString_ = false;
  bool isEscaped_ = false; ///< whether a backslash precedes the next byte of a string
  bool inWord_ = false;    ///< in a number or literal
  std::string scalar_;     ///< the scalar at depth 1 since the last separator
  std::size_t values_ = 0; ///< scalars and containers at depth 1 since the last separator
  bool isId_ = false;      ///< whether the current member is `id`
  std::string id_;
};

} // namespace connector::host
