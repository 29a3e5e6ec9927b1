#pragma once

#include <string>
#include <string_view>
#include <vector>

/// Texts for people.
namespace connector::host {

/// Returns "; did you mean NAME?" with the name nearest to a text that is not among `names`, or ""
/// if none is near. Ignores case and everything up to the last slash.
std::string suggestion(std::string_view text, const std::vector<std::string>& names);

/// Writes each control character as JSON escapes it: "\\u001b". Those in `kept` are unchanged. Text
/// from clients or files could otherwise control the terminal or forge a line.
std::string withEscapedControls(std::string_view text, std::string_view kept = "");

/// The text for this descriptor: with escaped controls if it is a terminal.
std::string forTerminal(int descriptor, const std::string& text);

/// Prints a line on standard error that begins with the program's name.
void printDiagnostic(const std::string& text);

} // namespace connector::host
