#include "TextScanner.h"

#include "Limits.h"

#include <Poco/Ascii.h>

#include <algorithm>
#include <utility>

namespace connector::host {

namespace {

/// All other bytes outside strings, valid or not, are parts of numbers and literals.
bool isDelimiter(char byte) {
  switch (byte) {
  case ' ':
  case '\t':
  case '\r':
  case '\n':
  case '"':
  case '{':
  case '}':
  case '[':
  case ']':
  case ':':
  case ',':
    return true;
  default:
    return false;
  }
}

bool isInWord(char byte) {
  return Poco::Ascii::isAlphaNumeric(byte) || byte == '-' || byte == '+' || byte == '.';
}

} // namespace

/// The last member may lack the bracket after it, but then only a string is surely complete.
std::string TextScanner::id() const {
  const bool isString = !inString_ && scalar_.size() > 1 && scalar_.front() == '"';
  return isString && hasId() ? scalar_ : id_;
}

/// Whether the current member is a usable `id`.
bool TextScanner::hasId() const {
  return isKeyId_ && !isPastObject_ && valuesSinceSeparator_ == 1 && scalar_.size() <= MAX_ID;
}

void TextScanner::scan(std::string_view bytes) {
  while (!bytes.empty()) {
    std::size_t count = 1;
    if (inString_) {
      count = scanString(bytes);
    } else if (isDelimiter(bytes.front())) {
      scanDelimiter(bytes.front());
    } else {
      count = scanWord(bytes);
    }
    bytes.remove_prefix(count);
  }
}

/// Returns the number of bytes that belong to the string, with its final quote. A quote ends the
/// string unless an odd number of backslashes precedes it; some may have been in an earlier piece.
std::size_t TextScanner::scanString(std::string_view bytes) {
  std::size_t end = 0;
  while (inString_ && end < bytes.size()) {
    const auto begin = end;
    end = std::min(bytes.find('"', begin), bytes.size());
    auto backslashes = end;
    while (backslashes > begin && bytes[backslashes - 1] == '\\') {
      --backslashes;
    }
    const bool isFirstEscaped = backslashes == begin && isEscaped_;
    isEscaped_ = ((end - backslashes) % 2 == 1) != isFirstEscaped;
    if (end < bytes.size()) {
      ++end;
      inString_ = std::exchange(isEscaped_, false);
    }
  }
  appendToScalar(bytes.substr(0, end));
  return end;
}

/// Returns the number of bytes that belong to the number or literal.
std::size_t TextScanner::scanWord(std::string_view bytes) {
  const auto* const end = std::find_if(bytes.begin(), bytes.end(), isDelimiter);
  const auto count = static_cast<std::size_t>(end - bytes.begin());
  if (!std::exchange(inWord_, true)) {
    beginScalar();
  }
  isMalformed_ = isMalformed_ || !std::all_of(bytes.begin(), end, isInWord);
  appendToScalar(bytes.substr(0, count));
  return count;
}

void TextScanner::scanDelimiter(char byte) {
  inWord_ = false;
  switch (byte) {
  case '"':
    beginScalar();
    appendToScalar("\"");
    inString_ = true;
    break;
  case '{':
  case '[':
    openContainer(byte);
    break;
  case '}':
  case ']':
    closeContainer();
    break;
  case ':':
    endKey();
    break;
  case ',':
    endMember();
    break;
  default: // white space
    break;
  }
}

void TextScanner::openContainer(char bracket) {
  ++tokens_;
  if (depth_ == 0 && bracket == '[') {
    isPastObject_ = true;
  }
  if (depth_ == 1) {
    ++valuesSinceSeparator_;
  }
  ++depth_;
}

void TextScanner::closeContainer() {
  endMember();
  if (depth_ <= 1) {
    isPastObject_ = true;
  }
  depth_ -= std::min<std::size_t>(depth_, 1);
}

void TextScanner::beginScalar() {
  ++tokens_;
  if (depth_ == 1) {
    ++valuesSinceSeparator_;
  }
}

/// Keeps at most one byte more than an `id` may have, so that a longer one is noticed.
void TextScanner::appendToScalar(std::string_view bytes) {
  if (depth_ == 1 && !isPastObject_) {
    scalar_ += bytes.substr(0, MAX_ID + 1 - scalar_.size());
  }
}

void TextScanner::endKey() {
  ++tokens_;
  if (depth_ == 1) {
    const bool isId = valuesSinceSeparator_ == 1 && scalar_ == R"("id")";
    forgetMember();
    isKeyId_ = isId;
  }
}

void TextScanner::endMember() {
  ++tokens_;
  if (depth_ != 1) {
    return;
  }
  if (isKeyId_ && !isPastObject_) {
    id_ = hasId() ? scalar_ : "";
  }
  forgetMember();
}

void TextScanner::forgetMember() {
  scalar_.clear();
  valuesSinceSeparator_ = 0;
  isKeyId_ = false;
}

} // namespace connector::host
