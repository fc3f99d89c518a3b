/// \file
/// Finds the socket files that the library has made and not removed.
#pragma once

#include <string>
#include <vector>

/// Forgets all paths. From now on, remembers every path that the library binds a local socket to.
void watchSocketFiles();

/// Returns the remembered paths that begin with `folder` and still are socket files.
std::vector<std::string> socketFilesLeft(const std::string& folder = "");
