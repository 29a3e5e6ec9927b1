#pragma once

#include <string>
#include <string_view>
#include <vector>

/// Texts for people.
namespace connector::host {

/// Returns "; did you mean NAME?" with the name nearest to `text`, or "" if none is near. `names`
/// must not contain `text`. Ignores case and everything up to the last slash.
std::string suggestion(std::string_view text, const std::vector<std::string>& names);

/// Returns the text with control characters, except for those in `kept`, escaped as in JSON:
/// `\u001b`. Text from clients or files could otherwise control the terminal or forge a line.
std::string withEscapedControls(std::string_view text, std::string_view kept = "");

/// Returns the text; for a terminal, escapes control characters except `\n` and `\t`.
std::string forTerminal(int descriptor, const std::string& text);

/// Prints a line on standard error that begins with the program's name.
void printDiagnostic(const std::string& text);

} // namespace connector::host
