#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace connector::host {

/// Returns "; did you mean NAME?" with the name nearest to a text that is not among `names`, or ""
/// if none is near. Ignores case and everything up to the last slash.
std::string suggestion(std::string_view text, const std::vector<std::string>& names);

} // namespace connector::host
