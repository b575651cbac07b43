#include "dryrun/Files.h"

#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>

std::optional<std::string> readFile(const std::string& name) {
    std::ostringstream bytes;
    if (name == "-") {
        bytes << std::cin.rdbuf();
        return bytes.str();
    }
    std::ifstream file(name, std::ios::binary);
    if (!file || std::filesystem::is_directory(name)) {
        return std::nullopt;
    }
    bytes << file.rdbuf();
    return file.bad() ? std::nullopt : std::optional(bytes.str());
}

bool writeFile(const std::string& name, const std::string& bytes) {
    std::ofstream file(name, std::ios::binary);
    file << bytes << std::flush;
    return file.good();
}
