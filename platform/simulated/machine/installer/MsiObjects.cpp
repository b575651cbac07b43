#include "simulated/machine/installer/MsiObjects.h"

#include <windows.h>

namespace simulated {

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
        next_ = 0;
        return std::nullopt;
    }
    return rows_[next_++];
}

InstallSession& openSession(MSIHANDLE handle) {
    InstallSession* const session = installer().openSessionOf(handle);
    demand(session != nullptr, ERROR_INVALID_HANDLE);
    return *session;
}

void copyText(const std::u16string& text, LPWSTR buffer, DWORD* count) {
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

std::u16string formatRecord(const MsiRecord& record) {
    std::u16string text = record.fields[0];
    for (std::size_t at = 0; (at = text.find(u'[', at)) != text.npos;) {
        const std::u16string_view marker = std::u16string_view(text).substr(at, 3);
        const std::size_t field = marker.size() < 3 ? 0 : marker[1] - std::size_t{u'0'};
        if (field < 1 || field > record.count() || field > 9 || marker[2] != u']') {
            notSupported("MsiProcessMessage", "the template " + toUtf8(record.fields[0]));
        }
        text.replace(at, marker.size(), record.fields[field]);
        at += record.fields[field].size();
    }
    return text;
}

}  // namespace simulated
