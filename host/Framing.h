#pragma once

#include "ByteQueue.h"
#include "Streams.h"
#include "TextScanner.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

/// Splits a stream of bytes into texts.
namespace connector::host {

enum class Framing {
  lines,        ///< one text per line
  contentLength ///< header lines with a Content-Length, an empty line, the text
};

/// A text that could not be read. The stream continues after it.
struct Unreadable {
  enum class Reason {
    tooLong,
    noMemory, ///< to keep the whole text
    noLength, ///< headers without a valid Content-Length
    cutShort  ///< by the end of the input
  };

  Reason reason = Reason::tooLong;
  std::string id; ///< from a TextScanner
};

using Incoming = std::variant<Text, Unreadable>;

/// Reads one text after another from an Input. The first byte, after any white space and byte order
/// mark, selects the framing of the whole stream: `C` or `c` begins headers, any other byte begins
/// a line.
class FrameReader {
public:
  /// A text of more than `limit` bytes is skipped without being kept.
  FrameReader(Input& input, std::size_t limit)
      : input_(input)
      , limit_(limit) {}

  /// Returns nullopt at the end of the input. If the input was stopped, a partial text is dropped.
  /// A text is valid until the next call. Blank lines are skipped; the last line needs no line
  /// break. Throws std::bad_alloc if it cannot allocate memory to skip a text.
  std::optional<Incoming> next();

  /// Meaningful once `next` has returned a value.
  [[nodiscard]] Framing framing() const { return framing_.value_or(Framing::lines); }

private:
  using Reason = Unreadable::Reason;

  std::optional<Framing> findFraming();

  std::optional<Incoming> nextLine();
  std::optional<Incoming> readLine(std::size_t limit);
  std::optional<std::size_t> findLineEnd(std::size_t limit);
  Unreadable skipLine(Reason reason);
  std::string_view takeLine(std::size_t size);

  std::optional<Incoming> nextBody();
  std::optional<Incoming> readBody(std::size_t length);
  Unreadable skipBody(std::size_t length, Reason reason);

  bool fill(std::size_t size);
  bool fill();
  std::string_view take(std::size_t size);

  Input& input_;
  std::size_t limit_;
  std::optional<Framing> framing_;
  ByteQueue pending_;
};

} // namespace connector::host
