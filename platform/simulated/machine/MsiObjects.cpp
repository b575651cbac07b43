#include "simulated/machine/MsiObjects.h"

#include <windows.h>

namespace simulated {

namespace {

/// The number that a text of digits alone writes.
std::optional<std::size_t> fieldNumber(const std::u16string& text) {
    if (text.empty() || text.size() > 5) {
        return std::nullopt;
    }
    std::size_t number = 0;
    for (const char16_t digit : text) {
        if (digit < u'0' || digit > u'9') {
            return std::nullopt;
        }
        number = number * 10 + (digit - u'0');
    }
    return number;
}

std::u16string bracketValue(const std::u16string& name, const MsiRecord& record,
                            const InstallSession& session) {
    if (const auto number = fieldNumber(name)) {
        return *number <= record.count() ? record.fields[*number] : std::u16string();
    }
    const auto property = session.properties.find(name);
    return property == session.properties.end() ? std::u16string() : property->second;
}

}  // namespace

bool MsiView::execute(const MsiRecord* parameters) {
    const std::size_t given = parameters == nullptr ? 0 : parameters->count();
    const std::size_t wanted = query_.parameterCount();
    if (given < wanted || (executed_ && !isFetched_)) {
        return false;
    }
    PackageQuery::Row values;
    for (std::size_t i = 1; i <= wanted; ++i) {
        values.push_back(parameters->fields[i]);
    }
    rows_ = query_.run(values);
    next_ = 0;
    executed_ = true;
    isFetched_ = false;
    return true;
}

std::optional<PackageQuery::Row> MsiView::fetch() {
    if (next_ == rows_.size()) {
        isFetched_ = true;
        return std::nullopt;
    }
    return rows_[next_++];
}

InstallSession& openSession(MSIHANDLE handle) {
    InstallSession* const session = installer().openSessionOf(handle);
    demand(session != nullptr, ERROR_INVALID_HANDLE);
    return *session;
}

void giveText(const std::u16string& text, LPWSTR buffer, DWORD* count) {
    demand(buffer == nullptr || count != nullptr, ERROR_INVALID_PARAMETER);
    if (count == nullptr) {
        return;
    }
    const DWORD size = *count;
    *count = static_cast<DWORD>(text.size());
    if (buffer == nullptr) {
        return;
    }
    if (size > 0) {
        buffer[text.copy(buffer, size - 1)] = u'\0';
    }
    demand(text.size() < size, ERROR_MORE_DATA);
}

std::u16string formatRecord(const MsiRecord& record, const InstallSession& session) {
    const std::u16string& format = record.fields[0];
    std::u16string result;
    if (format.empty()) {
        for (std::size_t i = 1; i <= record.count(); ++i) {
            result += fromUtf8(std::to_string(i)) + u": " + record.fields[i] + u" ";
        }
        return result;
    }
    for (std::size_t at = 0; at < format.size();) {
        const std::size_t end = format[at] == u'[' ? format.find(u']', at) : std::u16string::npos;
        if (end == std::u16string::npos) {
            result += format[at++];
            continue;
        }
        result += bracketValue(format.substr(at + 1, end - at - 1), record, session);
        at = end + 1;
    }
    return result;
}

}  // namespace simulated
