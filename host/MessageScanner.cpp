#include "MessageScanner.h"

#include <algorithm>
#include <utility>

namespace connector::host {

namespace {

constexpr std::size_t LONGEST_ID = 1024;

/// Whether a byte cannot be part of a number or literal.
bool endsWord(char byte) {
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

} // namespace

void MessageScanner::scan(std::string_view bytes) {
  while (!bytes.empty()) {
    std::size_t count = 1;
    if (inString_) {
      count = scanString(bytes);
      keep(bytes.substr(0, count));
    } else if (endsWord(bytes.front())) {
      inWord_ = false;
      scanByte(bytes.front());
    } else {
      const auto* const end = std::find_if(bytes.begin(), bytes.end(), endsWord);
      count = static_cast<std::size_t>(end - bytes.begin());
      if (!std::exchange(inWord_, true)) {
        beginScalar();
      }
      keep(bytes.substr(0, count));
    }
    bytes.remove_prefix(count);
  }
}

/// Returns the number of bytes that belong to the string, its final quotation mark included.
std::size_t MessageScanner::scanString(std::string_view bytes) {
  for (std::size_t begin = 0;;) {
    const auto end = std::min(bytes.find('"', begin), bytes.size());
    auto last = end; // the first of the backslashes directly before the end
    while (last > begin && bytes[last - 1] == '\\') {
      --last;
    }
    const bool escapesFirst = last == begin && isEscaped_;
    isEscaped_ = ((end - last) % 2 == 1) != escapesFirst;
    if (end == bytes.size()) {
      return end;
    }
    begin = end + 1;
    if (!isEscaped_) {
      inString_ = false;
      return begin;
    }
    isEscaped_ = false;
  }
}

void MessageScanner::scanByte(char byte) {
  switch (byte) {
  case '"':
    inString_ = true;
    beginScalar();
    return keep("\"");
  case '{':
  case '[':
    return open(byte);
  case '}':
  case ']':
    return close();
  case ':':
    return endKey();
  case ',':
    return endMember();
  default: // white space
    return;
  }
}

void MessageScanner::open(char bracket) {
  ++tokens_;
  if (depth_ == 0 && bracket == '[') {
    isEnded_ = true;
  }
  if (depth_ == 1) {
    ++values_;
  }
  ++depth_;
}

void MessageScanner::close() {
  endMember();
  if (depth_ <= 1) {
    isEnded_ = true;
  }
  depth_ -= std::min<std::size_t>(depth_, 1);
}

void MessageScanner::beginScalar() {
  ++tokens_;
  if (depth_ == 1) {
    ++values_;
  }
}

/// Keeps at most one byte more than an `id` may have, so that a longer one is noticed.
void MessageScanner::keep(std::string_view bytes) {
  if (depth_ == 1 && !isEnded_) {
    scalar_ += bytes.substr(0, LONGEST_ID + 1 - scalar_.size());
  }
}

void MessageScanner::endKey() {
  ++tokens_;
  if (depth_ == 1) {
    isId_ = values_ == 1 && scalar_ == R"("id")";
    forgetScalar();
  }
}

void MessageScanner::endMember() {
  ++tokens_;
  if (depth_ != 1) {
    return;
  }
  if (isId_ && !isEnded_) {
    id_ = values_ == 1 && scalar_.size() <= LONGEST_ID ? scalar_ : "";
  }
  isId_ = false;
  forgetScalar();
}

void MessageScanner::forgetScalar() {
  scalar_.clear();
  values_ = 0;
}

} // namespace connector::host
