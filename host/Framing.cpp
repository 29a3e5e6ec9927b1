#include "Framing.h"

#include <Poco/String.h>

#include <algorithm>
#include <charconv>
#include <new>

namespace connector::host {

namespace {

constexpr std::size_t CHUNK = 64UL * 1024;
constexpr std::size_t MAX_HEADER = 8UL * 1024;
const std::string CONTENT_LENGTH = "content-length";

bool isBlank(const std::optional<Incoming>& line) {
  const auto* text = line ? std::get_if<Text>(&*line) : nullptr;
  return text != nullptr && text->bytes().find_first_not_of(" \t\r") == std::string_view::npos;
}

/// Whether a line up to its last colon, in small letters, names the header. If the length of a text
/// is missing or too small, its closing bracket may precede the next header on the same line.
bool endsWithContentLength(const std::string& line) {
  return line == CONTENT_LENGTH || Poco::endsWith(line, "}" + CONTENT_LENGTH) ||
         Poco::endsWith(line, "]" + CONTENT_LENGTH);
}

/// Returns the value of a Content-Length header at the end of a line, or nullopt if the line does
/// not have one or it is invalid.
std::optional<std::size_t> lengthIn(const Incoming& line) {
  const auto* text = std::get_if<Text>(&line);
  const auto bytes = text == nullptr ? std::string_view() : text->bytes();
  const std::string header(bytes.substr(bytes.size() - std::min(bytes.size(), MAX_HEADER)));
  const auto colon = header.rfind(':'); // without one, the whole line is both name and value
  const auto name = Poco::toLower(Poco::trim(header.substr(0, colon)));
  const auto value = Poco::trim(header.substr(colon + 1));
  std::size_t length = 0;
  const char* const end = value.data() + value.size();
  const auto [stop, error] = std::from_chars(value.data(), end, length);
  const bool isValid = error == std::errc() && stop == end;
  return isValid && endsWithContentLength(name) ? std::optional(length) : std::nullopt;
}

} // namespace

std::optional<Incoming> FrameReader::next() {
  framing_ = framing_ ? framing_ : findFraming();
  if (!framing_) {
    return std::nullopt;
  }
  return *framing_ == Framing::lines ? nextLine() : nextBody();
}

std::optional<Framing> FrameReader::findFraming() {
  do {
    const auto text = pending_.view();
    pending_.drop(std::min(text.find_first_not_of(" \t\r\n\xEF\xBB\xBF"), text.size()));
  } while (pending_.empty() && fill());
  if (pending_.empty()) {
    return std::nullopt;
  }
  const char first = pending_.view().front();
  return first == 'C' || first == 'c' ? Framing::contentLength : Framing::lines;
}

std::optional<Incoming> FrameReader::nextLine() {
  auto line = readLine(limit_);
  while (isBlank(line)) {
    line = readLine(limit_);
  }
  return line;
}

/// Returns nullopt at the end of the input.
std::optional<Incoming> FrameReader::readLine(std::size_t limit) {
  try {
    const auto size = findLineEnd(limit);
    if (!size || *size > limit) {
      return skipLine(Reason::tooLong);
    }
    if (pending_.empty()) {
      return std::nullopt;
    }
    return Text(takeLine(*size), true);
  } catch (const std::bad_alloc&) {
    return skipLine(Reason::noMemory);
  }
}

/// Returns the size of the next line without its line break. The end of the input ends a line, too.
/// Returns nullopt if more than `limit` bytes were read and none of them ends the line.
std::optional<std::size_t> FrameReader::findLineEnd(std::size_t limit) {
  std::size_t searched = 0;
  do {
    const auto end = pending_.view().find('\n', searched);
    if (end != std::string_view::npos) {
      return end;
    }
    searched = pending_.view().size();
    if (searched > limit) {
      return std::nullopt;
    }
  } while (fill());
  if (input_.stopped()) {
    pending_.clear();
  }
  return pending_.view().size();
}

/// Skips a line, whose end may not be read yet.
Unreadable FrameReader::skipLine(Reason reason) {
  TextScanner scanner;
  std::optional<std::size_t> rest;
  while (!(rest = findLineEnd(CHUNK))) {
    scanner.scan(pending_.view());
    pending_.clear();
  }
  scanner.scan(takeLine(*rest));
  return {reason, scanner.id()};
}

std::string_view FrameReader::takeLine(std::size_t size) {
  const auto line = take(size);
  if (!pending_.empty()) {
    pending_.drop(1); // the line break, which the last line may lack
  }
  return line;
}

std::optional<Incoming> FrameReader::nextBody() {
  std::optional<std::size_t> length;
  bool begun = false;
  while (const auto line = readLine(std::max(limit_, MAX_HEADER))) {
    if (!isBlank(line)) {
      begun = true;
      const auto found = lengthIn(*line);
      length = found ? found : length;
    } else if (length) {
      return readBody(*length);
    } else if (begun) {
      return Unreadable{Reason::noLength, {}};
    }
  }
  if (!begun || input_.stopped()) {
    return std::nullopt;
  }
  return Unreadable{Reason::cutShort, {}};
}

std::optional<Incoming> FrameReader::readBody(std::size_t length) {
  if (length > limit_) {
    return skipBody(length, Reason::tooLong);
  }
  try {
    if (fill(length)) {
      return Text(take(length), true);
    }
  } catch (const std::bad_alloc&) {
    return skipBody(length, Reason::noMemory);
  }
  if (input_.stopped()) {
    return std::nullopt;
  }
  return skipBody(length, Reason::cutShort);
}

Unreadable FrameReader::skipBody(std::size_t length, Reason reason) {
  TextScanner scanner;
  do {
    const auto skipped = pending_.view().substr(0, length);
    scanner.scan(skipped);
    pending_.drop(skipped.size());
    length -= skipped.size();
  } while (length > 0 && fill());
  return {reason, scanner.id()};
}

/// Reads until `size` bytes are pending. Returns false if the input ends earlier.
bool FrameReader::fill(std::size_t size) {
  while (pending_.view().size() < size) {
    if (!fill()) {
      return false;
    }
  }
  return true;
}

bool FrameReader::fill() {
  const auto [space, size] = pending_.reserve(CHUNK);
  const auto count = input_.read(space, size);
  pending_.add(count);
  return count > 0;
}

std::string_view FrameReader::take(std::size_t size) {
  const auto result = pending_.view().substr(0, size);
  pending_.drop(size);
  return result;
}

} // namespace connector::host
