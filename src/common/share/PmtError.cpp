#include "common/share/PmtError.h"

#include <cstring>

const char* baseName(const char* file) {
    const char* base = file;
    for (const char* c = file; *c != '\0'; ++c) {
        if (*c == '\\' || *c == '/') {
            base = c + 1;
        }
    }
    return base;
}

std::string formatLocatedMessage(const std::exception& error, const SourceLocation& where) {
    return std::string(baseName(where.file)) + "(" + std::to_string(where.line) + ") at " +
           where.function + "(): " + error.what();
}
