#pragma once

/// Marks the exported declarations; all others are hidden.
#define CONNECTOR_FILE_EXPORT [[gnu::visibility("default")]]
