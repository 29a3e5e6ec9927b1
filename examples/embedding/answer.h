#pragma once

/// Sends one request to the file service and prints the response. `params` is the request in JSON.
extern "C" void printAnswer(const char* type, const char* params);
