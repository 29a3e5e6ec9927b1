#pragma once

#include "ByteQueue.h"
#include "Input.h"
#include "Text.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

/// How texts are told apart on a stream of bytes. What is in them is of no concern here.
namespace connector::host {

enum class Framing {
  lines,        ///< one text a line
  contentLength ///< header lines, of which Content-Length counts, an empty line, the text
};

/// Why a text is not there to be answered; the stream goes on behind it.
enum class Unreadable {
  tooLong,
  noMemory, ///< to keep it
  noLength, ///< headers without a usable Content-Length
  cutShort  ///< by the end of the input
};

using Incoming = std::variant<Text, Unreadable>;

/// What stands before and behind a text of `size` bytes.
std::string headOf(Framing framing, std::size_t size);
std::string_view tailOf(Framing framing);

/// Takes one text after another off an Input. The first byte that is not white space settles the
/// framing for good: `C` or `c` begins headers, anything else a line.
class FrameReader {
public:
  /// A text of more than `limit` bytes is skipped without being kept.
  FrameReader(Input& input, std::size_t limit)
      : input_(input)
      , limit_(limit) {}

  /// A text is valid until the next call. Nothing at the end of the input, or when it was told to
  /// stop: what had come in part or was not begun is dropped then. Lines of white space alone are
  /// passed over, a last line needs no end. Behind headers without a length nothing tells how much
  /// to skip: what follows is passed over, and not reported again, up to the next Content-Length.
  std::optional<Incoming> next();

  /// Meaningful once `next` has returned something.
  [[nodiscard]] Framing framing() const { return framing_.value_or(Framing::lines); }

private:
  struct Line {
    std::string_view text; ///< the tail of it when it was not kept
    std::optional<Unreadable> flaw;
  };

  std::optional<Framing> findFraming();
  std::optional<Incoming> nextLine();
  std::optional<Incoming> nextBody();
  std::optional<Incoming> readBody(std::size_t length);
  std::optional<Line> readLine(std::size_t limit);
  [[nodiscard]] std::optional<std::size_t> lengthIn(std::string_view header) const;

  bool fill();
  std::string_view take(std::size_t size);

  Input& input_;
  std::size_t limit_;
  std::optional<Framing> framing_;
  bool lost_ = false; ///< between headers without a length and the next length
  ByteQueue pending_;
};

} // namespace connector::host
