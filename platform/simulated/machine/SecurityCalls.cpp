#include <windows.h>
#include <sddl.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "simulated/machine/Machine.h"

using namespace simulated;

namespace {

class TokenHandle : public HandleObject {
public:
    explicit TokenHandle(DWORD rights) : access(rights) {}
    std::string description() const override { return "token"; }

    DWORD access;
};

const SID* asSid(PSID sid) {
    return static_cast<const SID*>(sid);
}

bool isValid(PSID sid) {
    return sid != nullptr && asSid(sid)->Revision == SID_REVISION &&
           asSid(sid)->SubAuthorityCount <= SID_MAX_SUB_AUTHORITIES;
}

DWORD lengthOf(PSID sid) {
    return 8 + 4 * DWORD{asSid(sid)->SubAuthorityCount};
}

/// Gives a copy in local memory.
void* localCopy(const void* data, std::size_t size) {
    void* const copy = std::malloc(size);
    std::memcpy(copy, data, size);
    return copy;
}

/// Lays identifiers out behind their table, as the records of a token are.
class TokenRecord {
public:
    /// `head` is what stands before the table.
    TokenRecord(std::size_t head, std::size_t count)
        : table_(head), bytes_(head + count * sizeof(SID_AND_ATTRIBUTES)) {}

    void add(std::u16string_view text, DWORD attributes) {
        const Bytes sid = parseSid(text).value_or(Bytes{SID_REVISION, 0, 0, 0, 0, 0, 0, 0});
        entries_.push_back({bytes_.size(), attributes});
        bytes_.insert(bytes_.end(), sid.begin(), sid.end());
    }

    std::size_t size() const { return bytes_.size(); }

    void copyTo(std::uint8_t* buffer) const {
        std::copy(bytes_.begin(), bytes_.end(), buffer);
        for (std::size_t i = 0; i < entries_.size(); ++i) {
            const SID_AND_ATTRIBUTES entry = {buffer + entries_[i].offset, entries_[i].attributes};
            std::memcpy(buffer + table_ + i * sizeof(entry), &entry, sizeof(entry));
        }
    }

private:
    struct Entry {
        std::size_t offset;
        DWORD attributes;
    };

    std::size_t table_;
    Bytes bytes_;
    std::vector<Entry> entries_;
};

BOOL giveRecord(const TokenRecord& record, LPVOID buffer, DWORD size, PDWORD needed) {
    *needed = static_cast<DWORD>(record.size());
    if (buffer == nullptr || size < record.size()) {
        return failWith(ERROR_INSUFFICIENT_BUFFER);
    }
    record.copyTo(static_cast<std::uint8_t*>(buffer));
    return TRUE;
}

}  // namespace

extern "C" {

BOOL WINAPI OpenProcessToken(HANDLE process, DWORD access, PHANDLE token) {
    Call call("OpenProcessToken");
    if (call.fails()) {
        return failWith(call.status(ERROR_ACCESS_DENIED));
    }
    if (process != INVALID_HANDLE_VALUE) {
        return failWith(ERROR_INVALID_HANDLE);
    }
    *token = Machine::current().handles.add(std::make_shared<TokenHandle>(access));
    return TRUE;
}

BOOL WINAPI GetTokenInformation(HANDLE token, TOKEN_INFORMATION_CLASS wanted, LPVOID buffer,
                                DWORD size, PDWORD needed) {
    Call call("GetTokenInformation");
    if (call.fails()) {
        return failWith(call.status(ERROR_ACCESS_DENIED));
    }
    const Machine& machine = Machine::current();
    const auto open = machine.handles.find<TokenHandle>(token);
    if (open == nullptr) {
        return failWith(ERROR_INVALID_HANDLE);
    }
    if ((open->access & TOKEN_QUERY) == 0) {
        return failWith(ERROR_ACCESS_DENIED);
    }
    const Security& security = machine.security;
    if (wanted == TokenUser) {
        TokenRecord record(0, 1);
        record.add(security.user, 0);
        return giveRecord(record, buffer, size, needed);
    }
    if (wanted == TokenGroups) {
        TokenRecord record(offsetof(TOKEN_GROUPS, Groups), security.groups.size());
        for (const TokenGroup& group : security.groups) {
            record.add(group.sid, group.attributes);
        }
        if (giveRecord(record, buffer, size, needed) == FALSE) {
            return FALSE;
        }
        static_cast<PTOKEN_GROUPS>(buffer)->GroupCount = static_cast<DWORD>(security.groups.size());
        return TRUE;
    }
    const bool knowsElevation = machine.facts.version.major >= 6;
    if (wanted != TokenElevation || !knowsElevation) {
        return failWith(ERROR_INVALID_PARAMETER);
    }
    *needed = sizeof(TOKEN_ELEVATION);
    if (buffer == nullptr || size < sizeof(TOKEN_ELEVATION)) {
        return failWith(ERROR_BAD_LENGTH);
    }
    static_cast<TOKEN_ELEVATION*>(buffer)->TokenIsElevated = security.elevated ? 1 : 0;
    return TRUE;
}

BOOL WINAPI CopySid(DWORD size, PSID copy, PSID sid) {
    Call call("CopySid");
    if (call.fails()) {
        return failWith(call.status(ERROR_INSUFFICIENT_BUFFER));
    }
    if (size < lengthOf(sid)) {
        return failWith(ERROR_INSUFFICIENT_BUFFER);
    }
    std::memmove(copy, sid, lengthOf(sid));
    return TRUE;
}

// No failure is planned for the three that only look at memory: their results are answers.

BOOL WINAPI EqualSid(PSID first, PSID second) {
    const Call call("EqualSid");
    if (!isValid(first) || !isValid(second)) {
        return failWith(ERROR_INVALID_SID);
    }
    SetLastError(ERROR_SUCCESS);
    const DWORD length = lengthOf(first);
    return length == lengthOf(second) && std::memcmp(first, second, length) == 0 ? TRUE : FALSE;
}

DWORD WINAPI GetLengthSid(PSID sid) {
    const Call call("GetLengthSid");
    return lengthOf(sid);
}

BOOL WINAPI IsValidSid(PSID sid) {
    const Call call("IsValidSid");
    return isValid(sid) ? TRUE : FALSE;
}

BOOL WINAPI ConvertStringSidToSidW(LPCWSTR text, PSID* sid) {
    Call call("ConvertStringSidToSidW");
    if (call.fails()) {
        return failWith(call.status(ERROR_NOT_ENOUGH_MEMORY));
    }
    if (text == nullptr || sid == nullptr) {
        return failWith(ERROR_INVALID_PARAMETER);
    }
    const std::optional<Bytes> parsed = parseSid(text);
    if (!parsed) {
        return failWith(ERROR_INVALID_SID);
    }
    *sid = localCopy(parsed->data(), parsed->size());
    return TRUE;
}

BOOL WINAPI ConvertSidToStringSidW(PSID sid, LPWSTR* text) {
    Call call("ConvertSidToStringSidW");
    if (call.fails()) {
        return failWith(call.status(ERROR_NOT_ENOUGH_MEMORY));
    }
    if (text == nullptr) {
        return failWith(ERROR_INVALID_PARAMETER);
    }
    if (!isValid(sid)) {
        return failWith(ERROR_INVALID_SID);
    }
    const std::u16string formatted = formatSid(sid);
    *text =
        static_cast<LPWSTR>(localCopy(formatted.c_str(), (formatted.size() + 1) * sizeof(WCHAR)));
    return TRUE;
}

BOOL WINAPI ConvertStringSecurityDescriptorToSecurityDescriptorW(LPCWSTR text, DWORD revision,
                                                                 PSECURITY_DESCRIPTOR* descriptor,
                                                                 PULONG size) {
    Call call("ConvertStringSecurityDescriptorToSecurityDescriptorW");
    if (call.fails()) {
        return failWith(call.status(ERROR_NOT_ENOUGH_MEMORY));
    }
    if (text == nullptr || descriptor == nullptr) {
        return failWith(ERROR_INVALID_PARAMETER);
    }
    if (revision != SDDL_REVISION_1) {
        return failWith(ERROR_UNKNOWN_REVISION);
    }
    const ParsedDescriptor parsed = parseDescriptor(text);
    if (parsed.status != ERROR_SUCCESS) {
        return failWith(parsed.status);
    }
    *descriptor = localCopy(parsed.descriptor.data(), parsed.descriptor.size());
    if (size != nullptr) {
        *size = static_cast<ULONG>(parsed.descriptor.size());
    }
    return TRUE;
}

}  // extern "C"
