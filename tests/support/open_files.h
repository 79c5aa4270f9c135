// What a native may not leave open.
#pragma once

#include <string>
#include <vector>

// The files below `directory`, and the tables in /etc, that the process has open. The rest of its
// descriptors says nothing: threads of the JVM open and close files whenever they like.
std::vector<std::string> openFilesBelow(const std::string& directory);
