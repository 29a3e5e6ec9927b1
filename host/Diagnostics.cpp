#include "Diagnostics.h"

#include <Poco/Ascii.h>
#include <Poco/Format.h>

#include <algorithm>
#include <cstddef>
#include <iostream>
#include <numeric>
#include <unistd.h>

namespace connector::host {

namespace {

// Swapping two neighbours counts as two edits.
constexpr std::size_t MAX_EDITS = 2;

std::string_view lastPart(std::string_view name) {
  return name.substr(name.rfind('/') + 1);
}

/// Returns the number of edits, inexact above MAX_EDITS.
std::size_t editDistance(std::string_view from, std::string_view to) {
  if (from.size() > to.size() + MAX_EDITS) {
    return MAX_EDITS + 1; // a text may be long, a name is short
  }
  std::vector<std::size_t> row(to.size() + 1);
  std::iota(row.begin(), row.end(), 0U);
  for (const char c : from) {
    auto diagonal = row.front()++;
    for (std::size_t i = 0; i < to.size(); ++i) {
      const bool isSame = Poco::Ascii::toLower(c) == Poco::Ascii::toLower(to[i]);
      const auto replaced = diagonal + (isSame ? 0 : 1);
      diagonal = row[i + 1];
      row[i + 1] = std::min({replaced, diagonal + 1, row[i] + 1});
    }
  }
  return row.back();
}

} // namespace

std::string suggestion(std::string_view text, const std::vector<std::string>& names) {
  std::string nearest;
  auto fewest = MAX_EDITS + 1;
  for (const auto& name : names) {
    if (const auto edits = editDistance(lastPart(text), lastPart(name)); edits < fewest) {
      fewest = edits;
      nearest = name;
    }
  }
  return nearest.empty() ? "" : "; did you mean " + nearest + "?";
}

std::string withEscapedControls(std::string_view text, std::string_view kept) {
  constexpr char c1 = '\xC2'; // the first byte of U+0080 to U+00BF in UTF-8
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool isPair = text[i] == c1 && i + 1 < text.size();
    const auto code = static_cast<unsigned char>(isPair ? text[i + 1] : text[i]);
    const bool isControl = isPair ? code >= 0x80 && code < 0xA0 : code < 0x20 || code == 0x7F;
    if (!isControl || kept.find(text[i]) != std::string_view::npos) {
      result += text[i];
      continue;
    }
    result += Poco::format("\\u%04x", static_cast<unsigned>(code));
    i += isPair ? 1 : 0;
  }
  return result;
}

std::string forTerminal(int descriptor, const std::string& text) {
  return isatty(descriptor) == 0 ? text : withEscapedControls(text, "\n\t");
}

void printDiagnostic(const std::string& text) {
  std::cerr << forTerminal(STDERR_FILENO, "connector-host: " + text + '\n');
}

} // namespace connector::host
