/// Files of the package.
#pragma once

#include <string>

/// Whether there is a file at `path`; a link that leads nowhere counts as one.
/// @param isFolder  ask for a folder instead, which does not count as a file
bool IsFileExist(const std::string& path, bool isFolder);
