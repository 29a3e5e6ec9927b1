#pragma once

/// Prints the file service's answer to one request: the name of its type and its JSON.
extern "C" void printAnswer(const char* type, const char* params);
