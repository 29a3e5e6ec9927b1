#pragma once

/// Marks what the library exports; it is built with everything else hidden.
#define CONNECTOR_FILE_EXPORT __attribute__((visibility("default")))
