/// \file
/// Which socket files the library has made and not removed.
#pragma once

#include <string>
#include <vector>

/// From now on every path that the library binds a local socket to is remembered. Earlier paths are forgotten.
void watchSocketFiles();

/// Those of the remembered paths, at or below `folder`, where a socket file still is.
std::vector<std::string> socketFilesLeft(const std::string& folder = "");
