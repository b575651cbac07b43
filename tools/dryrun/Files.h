// How the program reads and writes files. The page has its own Files.cpp.
#pragma once

#include <optional>
#include <string>

/// Returns the bytes of a file, for "-" those of standard input; nothing if it can't be read.
std::optional<std::string> readFile(const std::string& name);

/// Creates or replaces a file; returns false if that fails.
bool writeFile(const std::string& name, const std::string& bytes);
