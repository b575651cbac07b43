// Splitting a command line, and telling a URL from a path.
#include <windows.h>
#include <shellapi.h>
#include <shlwapi.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "simulated/machine/Machine.h"

using namespace simulated;

namespace {

bool isBlank(char16_t unit) {
    return unit == u' ' || unit == u'\t';
}

/// The program's name comes first and has rules of its own: quoted, it goes to the next quote,
/// else to the first blank. Backslashes are plain characters.
std::u16string takeProgram(std::u16string_view& line) {
    std::size_t end = 0;
    std::u16string program;
    if (!line.empty() && line[0] == u'"') {
        end = std::min(line.find(u'"', 1), line.size());
        program = line.substr(1, end - 1);
        end = std::min(end + 1, line.size());
    } else {
        end = static_cast<std::size_t>(std::find_if(line.begin(), line.end(), isBlank) -
                                       line.begin());
        program = line.substr(0, end);
    }
    line.remove_prefix(end);
    return program;
}

void skipBlanks(std::u16string_view& line) {
    while (!line.empty() && isBlank(line.front())) {
        line.remove_prefix(1);
    }
}

/// Takes the backslashes at the front. Before a quote two make one, and one that is left over
/// makes the quote a plain character; elsewhere they mean themselves.
void takeBackslashes(std::u16string_view& line, std::u16string& argumentText) {
    const std::size_t count = std::min(line.find_first_not_of(u'\\'), line.size());
    line.remove_prefix(count);
    if (line.empty() || line.front() != u'"') {
        argumentText.append(count, u'\\');
        return;
    }
    argumentText.append(count / 2, u'\\');
    if (count % 2 != 0) {
        argumentText += u'"';
        line.remove_prefix(1);
    }
}

/// Takes the quotes at the front. The first opens or closes the quotation; each three in a row,
/// from an opening one on, are a plain quote.
void takeQuotes(std::u16string_view& line, std::u16string& argumentText, bool& quoted) {
    std::size_t count = std::min(line.find_first_not_of(u'"'), line.size());
    line.remove_prefix(count);
    count += quoted ? 1 : 0;
    argumentText.append(count / 3, u'"');
    quoted = count % 3 == 1;
}

std::u16string takeArgument(std::u16string_view& line) {
    std::u16string result;
    bool quoted = false;
    while (!line.empty() && (quoted || !isBlank(line.front()))) {
        if (line.front() == u'\\') {
            takeBackslashes(line, result);
        } else if (line.front() == u'"') {
            takeQuotes(line, result, quoted);
        } else {
            result += line.front();
            line.remove_prefix(1);
        }
    }
    return result;
}

std::vector<std::u16string> split(std::u16string_view line) {
    std::vector<std::u16string> arguments = {takeProgram(line)};
    for (skipBlanks(line); !line.empty(); skipBlanks(line)) {
        arguments.push_back(takeArgument(line));
    }
    return arguments;
}

/// Puts the pointers, with a null after the last, and the strings into one block of local memory,
/// which is that of the C run-time here.
LPWSTR* makeBlock(const std::vector<std::u16string>& arguments) {
    const std::size_t pointers = (arguments.size() + 1) * sizeof(LPWSTR);
    std::size_t size = pointers;
    for (const std::u16string& text : arguments) {
        size += (text.size() + 1) * sizeof(WCHAR);
    }
    auto* const block = static_cast<char*>(std::malloc(size));
    demand(block != nullptr, ERROR_NOT_ENOUGH_MEMORY);
    auto** const vector = reinterpret_cast<LPWSTR*>(block);
    char* at = block + pointers;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::size_t bytes = (arguments[i].size() + 1) * sizeof(WCHAR);
        std::memcpy(at, arguments[i].c_str(), bytes);
        vector[i] = reinterpret_cast<LPWSTR>(at);
        at += bytes;
    }
    vector[arguments.size()] = nullptr;
    return vector;
}

}  // namespace

extern "C" {

LPWSTR* WINAPI CommandLineToArgvW(LPCWSTR commandLine, int* count) {
    return call("CommandLineToArgvW", ERROR_NOT_ENOUGH_MEMORY, [&] {
        demand(count != nullptr, ERROR_INVALID_PARAMETER);
        const std::u16string_view line = argument(commandLine);
        // An empty command line stands for the program itself.
        const std::vector<std::u16string> arguments =
            line.empty() ? std::vector{Machine::current().facts.programPath} : split(line);
        *count = static_cast<int>(arguments.size());
        return makeBlock(arguments);
    });
}

BOOL WINAPI PathIsURLW(LPCWSTR path) {
    return sureCall("PathIsURLW", [&] {
        // A scheme has at least two characters, so that the letter of a drive is none.
        const std::u16string_view text = argument(path);
        const std::size_t colon = text.find(u':');
        const std::u16string_view scheme = text.substr(0, colon);
        const bool isScheme = std::all_of(scheme.begin(), scheme.end(), [](char16_t unit) {
            const char16_t upper = upperCase(unit);
            return (upper >= u'A' && upper <= u'Z') || (unit >= u'0' && unit <= u'9') ||
                   unit == u'+' || unit == u'-' || unit == u'.';
        });
        return colon != text.npos && colon >= 2 && isScheme ? TRUE : FALSE;
    });
}

}  // extern "C"
