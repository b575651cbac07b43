#include "common/share/PmtError.h"

#include "common/share/BaseName.h"

std::string formatLocatedMessage(const std::exception& error, const SourceLocation& where) {
    std::string message(baseName(where.file));
    return message.append("(")
        .append(std::to_string(where.line))
        .append(") at ")
        .append(where.function)
        .append("(): ")
        .append(error.what());
}
