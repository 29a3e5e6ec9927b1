#include "Suggestion.h"

#include <Poco/Ascii.h>

#include <algorithm>
#include <cstddef>
#include <numeric>

namespace connector::host {

namespace {

// Swapping two neighbours counts as two edits.
constexpr std::size_t MAX_EDITS = 2;

std::string_view lastPart(std::string_view name) {
  return name.substr(name.rfind('/') + 1);
}

std::size_t editDistance(std::string_view from, std::string_view to) {
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

/// Returns the number of edits, or any number above MAX_EDITS, without comparing a long text.
std::size_t edits(std::string_view text, std::string_view name) {
  const auto [shorter, longer] = std::minmax({text.size(), name.size()});
  return longer - shorter > MAX_EDITS ? MAX_EDITS + 1 : editDistance(text, name);
}

} // namespace

std::string suggestion(std::string_view text, const std::vector<std::string>& names) {
  std::string nearest;
  auto fewest = MAX_EDITS + 1;
  for (const auto& name : names) {
    if (const auto count = edits(lastPart(text), lastPart(name)); count < fewest) {
      fewest = count;
      nearest = name;
    }
  }
  return nearest.empty() ? "" : "; did you mean " + nearest + "?";
}

} // namespace connector::host
