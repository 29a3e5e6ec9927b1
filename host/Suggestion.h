#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace connector::host {

/// For a text that is none of `names`: "; did you mean NAME?" with the nearest one, or nothing when
/// none is near. Upper and lower case, and what stands before the last slash, make no difference.
std::string suggestion(std::string_view text, const std::vector<std::string>& names);

} // namespace connector::host
