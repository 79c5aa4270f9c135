// Lines of the service, to the standard error stream.
#pragma once

#include <string>

namespace datanode {

enum class Level { INFO, WARN, ERROR };

// One line, whole, whatever is in `text`: control characters and bytes beyond ASCII are escaped.
// After 20 lines of a second the rest of it is counted alone. Any thread.
void logLine(Level level, const std::string& text);

}  // namespace datanode
