#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace connector::host {

/// Counts the tokens of a JSON text and finds its `id`, for the error reply to a text that is
/// invalid or too long to be parsed. Keeps no text, checks no syntax, and takes a text in pieces.
class TextScanner {
public:
  /// Takes the next bytes of the text.
  void scan(std::string_view bytes);

  /// The value of the outermost object's last member `id` that is complete. Empty if there is none
  /// or it is longer than MAX_ID. It may be invalid JSON; nested values are replaced by brackets.
  [[nodiscard]] const std::string& id() const { return id_; }

  /// The number of brackets, separators, strings, numbers and literals so far. If isMalformed, a
  /// parser may find more.
  [[nodiscard]] std::size_t tokens() const { return tokens_; }

  /// Whether a byte outside strings cannot be part of JSON.
  [[nodiscard]] bool isMalformed() const { return isMalformed_; }

private:
  std::size_t scanString(std::string_view bytes);
  void scanByte(char byte);
  void beginScalar(char byte);
  void openContainer(char bracket);
  void closeContainer(char bracket);
  void endMember();
  void findId();
  void keep(std::string_view bytes);

  std::size_t tokens_ = 0;
  bool isMalformed_ = false;
  std::size_t depth_ = 0;     // of open brackets
  bool isPastObject_ = false; // the outermost object has ended, or there is none
  bool inString_ = false;
  bool isEscaped_ = false; // the last byte was a backslash that escapes the next one
  bool inWord_ = false;    // in a number or literal
  std::string member_;     // the current one at depth 1, without white space and nested values
  std::string id_;
};

} // namespace connector::host
