#include "TextScanner.h"

#include "Limits.h"

#include <Poco/Ascii.h>

#include <algorithm>
#include <utility>

namespace connector::host {

namespace {

constexpr std::string_view ID_KEY = R"("id":)";

/// One byte more than needed, so that a longer value is noticed.
constexpr auto MAX_KEPT = ID_KEY.size() + MAX_ID + 1;

bool isWordByte(char byte) {
  return Poco::Ascii::isAlphaNumeric(byte) || byte == '-' || byte == '+' || byte == '.';
}

} // namespace

void TextScanner::scan(std::string_view bytes) {
  while (!bytes.empty()) {
    if (inString_) {
      bytes.remove_prefix(scanString(bytes));
    } else {
      scanByte(bytes.front());
      bytes.remove_prefix(1);
    }
  }
}

/// Returns the number of bytes that belong to the string, with its final quote.
std::size_t TextScanner::scanString(std::string_view bytes) {
  std::size_t count = 0;
  while (inString_ && count < bytes.size()) {
    const char byte = bytes[count++];
    inString_ = isEscaped_ || byte != '"';
    isEscaped_ = !isEscaped_ && byte == '\\';
  }
  keep(bytes.substr(0, count));
  if (!inString_) {
    findId(); // a string is complete before the next separator
  }
  return count;
}

void TextScanner::scanByte(char byte) {
  const bool continuesWord = std::exchange(inWord_, false);
  switch (byte) {
  case ' ':
  case '\t':
  case '\r':
  case '\n':
    return;
  case '"':
    inString_ = true;
    return beginScalar(byte);
  case '{':
  case '[':
    return openContainer(byte);
  case '}':
  case ']':
    return closeContainer(byte);
  case ':':
    ++tokens_;
    return keep({&byte, 1});
  case ',':
    ++tokens_;
    return endMember();
  default:
    isMalformed_ = isMalformed_ || !isWordByte(byte);
    inWord_ = true;
    return continuesWord ? keep({&byte, 1}) : beginScalar(byte);
  }
}

void TextScanner::beginScalar(char byte) {
  ++tokens_;
  if (!member_.empty() && member_.back() != ':') {
    keep(" "); // otherwise `1 2` would become 12
  }
  keep({&byte, 1});
}

void TextScanner::openContainer(char bracket) {
  ++tokens_;
  isPastObject_ = isPastObject_ || (depth_ == 0 && bracket == '[');
  keep({&bracket, 1});
  ++depth_;
}

void TextScanner::closeContainer(char bracket) {
  ++tokens_;
  endMember();
  isPastObject_ = isPastObject_ || depth_ <= 1;
  depth_ -= std::min<std::size_t>(depth_, 1);
  keep({&bracket, 1});
}

void TextScanner::endMember() {
  findId();
  if (depth_ == 1) {
    member_.clear();
  }
}

/// Takes the value of the current member if it is an `id`.
void TextScanner::findId() {
  if (depth_ == 1 && member_.compare(0, ID_KEY.size(), ID_KEY) == 0) {
    id_ = member_.size() < MAX_KEPT ? member_.substr(ID_KEY.size()) : "";
  }
}

/// Adds bytes at depth 1 to the current member, up to MAX_KEPT.
void TextScanner::keep(std::string_view bytes) {
  if (depth_ == 1 && !isPastObject_) {
    member_ += bytes.substr(0, MAX_KEPT - member_.size());
  }
}

} // namespace connector::host
