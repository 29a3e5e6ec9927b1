#include "Framing.h"

#include <Poco/String.h>

#include <algorithm>
#include <charconv>
#include <new>
#include <utility>

namespace connector::host {

namespace {

constexpr std::size_t CHUNK = 64UL * 1024;
constexpr std::size_t HEADER_LIMIT = 8UL * 1024;
constexpr std::string_view WHITE_SPACE = " \t\r\n";
constexpr std::string_view CONTENT_LENGTH = "content-length";

bool isBlank(std::string_view text) {
  return text.find_first_not_of(WHITE_SPACE) == std::string_view::npos;
}

std::string_view trimmed(std::string_view text) {
  const auto begin = text.find_first_not_of(WHITE_SPACE);
  if (begin == std::string_view::npos) {
    return {};
  }
  return text.substr(begin, text.find_last_not_of(WHITE_SPACE) - begin + 1);
}

bool endsWith(std::string_view text, std::string_view end) {
  return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

std::optional<std::size_t> parseLength(std::string_view text) {
  std::size_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) {
    return std::nullopt;
  }
  return value;
}

} // namespace

std::string headOf(Framing framing, std::size_t size) {
  return framing == Framing::lines ? "" : "Content-Length: " + std::to_string(size) + "\r\n\r\n";
}

std::string_view tailOf(Framing framing) {
  return framing == Framing::lines ? "\n" : "";
}

std::optional<Incoming> FrameReader::next() {
  if (!framing_) {
    framing_ = findFraming();
  }
  if (!framing_) {
    return std::nullopt;
  }
  const auto incoming = *framing_ == Framing::lines ? nextLine() : nextBody();
  return input_.stopped() ? std::nullopt : incoming;
}

std::optional<Framing> FrameReader::findFraming() {
  do {
    const auto text = pending_.view();
    pending_.drop(std::min(text.find_first_not_of(WHITE_SPACE), text.size()));
  } while (pending_.empty() && fill());
  if (pending_.empty()) {
    return std::nullopt;
  }
  const char first = pending_.view().front();
  return first == 'C' || first == 'c' ? Framing::contentLength : Framing::lines;
}

std::optional<Incoming> FrameReader::nextLine() {
  while (auto line = readLine(limit_)) {
    if (line->flaw) {
      return *line->flaw;
    }
    if (!isBlank(line->text)) {
      return Text(line->text, true);
    }
  }
  return std::nullopt;
}

std::optional<Incoming> FrameReader::nextBody() {
  std::optional<std::size_t> length;
  bool begun = false;
  while (const auto line = readLine(HEADER_LIMIT)) {
    if (!isBlank(line->text)) {
      begun = true;
      if (const auto found = lengthIn(line->text)) {
        length = found;
      }
      continue;
    }
    if (length) {
      return readBody(*length);
    }
    if (begun && !std::exchange(lost_, true)) {
      return Unreadable::noLength;
    }
  }
  if (!begun || lost_) {
    return std::nullopt;
  }
  return Unreadable::cutShort;
}

std::optional<std::size_t> FrameReader::lengthIn(std::string_view header) const {
  const auto colon = header.rfind(':');
  if (colon == std::string_view::npos) {
    return std::nullopt;
  }
  const auto name = Poco::toLower(std::string(trimmed(header.substr(0, colon))));
  // A text that was passed over need not end its line, so the header may follow it directly.
  const bool named = lost_ ? endsWith(name, CONTENT_LENGTH) : name == CONTENT_LENGTH;
  return named ? parseLength(trimmed(header.substr(colon + 1))) : std::nullopt;
}

std::optional<Incoming> FrameReader::readBody(std::size_t length) {
  lost_ = false;
  auto flaw = Unreadable::tooLong;
  if (length <= limit_) {
    try {
      while (pending_.view().size() < length) {
        if (!fill()) {
          pending_.clear();
          return Unreadable::cutShort;
        }
      }
      return Text(take(length), true);
    } catch (const std::bad_alloc&) {
      flaw = Unreadable::noMemory;
    }
  }
  while (length > pending_.view().size()) {
    length -= pending_.view().size();
    pending_.clear();
    if (!fill()) {
      return flaw;
    }
  }
  pending_.drop(length);
  return flaw;
}

std::optional<FrameReader::Line> FrameReader::readLine(std::size_t limit) {
  std::optional<Unreadable> flaw; // of which only a tail is kept
  const auto found = [&](std::size_t end) {
    if (!flaw && end > limit) {
      flaw = Unreadable::tooLong;
    }
    return Line{take(end), flaw};
  };
  std::size_t searched = 0;
  for (;;) {
    const auto end = pending_.view().find('\n', searched);
    if (end != std::string_view::npos) {
      const Line line = found(end);
      pending_.drop(1);
      return line;
    }
    searched = pending_.view().size();
    if (searched > (flaw ? HEADER_LIMIT : limit)) {
      flaw = flaw.value_or(Unreadable::tooLong);
      pending_.clear();
      searched = 0;
    }
    try {
      if (!fill()) {
        break;
      }
    } catch (const std::bad_alloc&) {
      if (std::exchange(flaw, Unreadable::noMemory) == Unreadable::noMemory) {
        throw; // not even for a tail
      }
      pending_.clear();
      searched = 0;
    }
  }
  if (pending_.view().empty() && !flaw) {
    return std::nullopt;
  }
  return found(pending_.view().size());
}

std::string_view FrameReader::take(std::size_t size) {
  const auto result = pending_.view().substr(0, size);
  pending_.drop(size);
  return result;
}

bool FrameReader::fill() {
  const auto [room, size] = pending_.room(CHUNK);
  const auto count = input_.read(room, size);
  pending_.add(count);
  return count > 0;
}

} // namespace connector::host
