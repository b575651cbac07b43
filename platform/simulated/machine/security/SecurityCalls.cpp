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
    std::string description() const override { return "token"; }
};

DWORD lengthOf(PSID sid) {
    return 8 + 4 * DWORD{static_cast<const SID*>(sid)->SubAuthorityCount};
}

void demandValid(PSID sid) {
    demand(sid != nullptr && static_cast<const SID*>(sid)->Revision == SID_REVISION,
           ERROR_INVALID_SID);
}

/// Returns a copy in local memory.
void* localCopy(const void* data, std::size_t size) {
    void* const copy = std::malloc(size);
    demand(copy != nullptr, ERROR_NOT_ENOUGH_MEMORY);
    std::memcpy(copy, data, size);
    return copy;
}

/// Writes identifiers after their table, as in the records of a token; the table begins `head`
/// bytes after the start of the buffer. Stores the size of it all in `needed`, and refuses a buffer
/// that is smaller.
void copyRecord(std::size_t head, const std::vector<TokenGroup>& entries, LPVOID buffer, DWORD size,
                PDWORD needed) {
    std::vector<Bytes> sids;
    std::size_t sidAt = head + entries.size() * sizeof(SID_AND_ATTRIBUTES);
    std::size_t whole = sidAt;
    for (const TokenGroup& entry : entries) {
        whole += sids.emplace_back(parseSid(entry.sid).value()).size();
    }
    *needed = static_cast<DWORD>(whole);
    demand(buffer != nullptr && size >= whole, ERROR_INSUFFICIENT_BUFFER);
    BYTE* const record = static_cast<BYTE*>(buffer);
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const SID_AND_ATTRIBUTES entry = {record + sidAt, entries[i].attributes};
        std::memcpy(record + head + i * sizeof(entry), &entry, sizeof(entry));
        std::copy(sids[i].begin(), sids[i].end(), record + sidAt);
        sidAt += sids[i].size();
    }
}

void copyGroups(const std::vector<TokenGroup>& groups, LPVOID buffer, DWORD size, PDWORD needed) {
    copyRecord(offsetof(TOKEN_GROUPS, Groups), groups, buffer, size, needed);
    static_cast<TOKEN_GROUPS*>(buffer)->GroupCount = static_cast<DWORD>(groups.size());
}

void copyElevation(bool elevated, LPVOID buffer, DWORD size, PDWORD needed) {
    demand(Machine::current().facts.version.major >= 6, ERROR_INVALID_PARAMETER);
    *needed = sizeof(TOKEN_ELEVATION);
    demand(buffer != nullptr && size >= sizeof(TOKEN_ELEVATION), ERROR_BAD_LENGTH);
    static_cast<TOKEN_ELEVATION*>(buffer)->TokenIsElevated = elevated ? 1 : 0;
}

}  // namespace

extern "C" {

BOOL WINAPI OpenProcessToken(HANDLE process, DWORD access, PHANDLE token) {
    return call("OpenProcessToken", ERROR_ACCESS_DENIED, [&] {
        demand(process == INVALID_HANDLE_VALUE, ERROR_INVALID_HANDLE);
        if (access != TOKEN_QUERY) {
            notSupported("OpenProcessToken", "the access " + std::to_string(access));
        }
        demand(token != nullptr, ERROR_NOACCESS);
        *token = Machine::current().handles.add(std::make_shared<TokenHandle>());
    });
}

BOOL WINAPI GetTokenInformation(HANDLE token, TOKEN_INFORMATION_CLASS wanted, LPVOID buffer,
                                DWORD size, PDWORD needed) {
    return call("GetTokenInformation", ERROR_ACCESS_DENIED, [&] {
        const Machine& machine = Machine::current();
        demand(machine.handles.find<TokenHandle>(token) != nullptr, ERROR_INVALID_HANDLE);
        demand(needed != nullptr, ERROR_NOACCESS);
        const Security& security = machine.security;
        switch (wanted) {
            case TokenUser:
                return copyRecord(0, {{security.user, 0}}, buffer, size, needed);
            case TokenGroups:
                return copyGroups(security.groups, buffer, size, needed);
            case TokenElevation:
                return copyElevation(security.elevated, buffer, size, needed);
        }
        notSupported("GetTokenInformation", "the class " + std::to_string(wanted));
    });
}

BOOL WINAPI CopySid(DWORD size, PSID copy, PSID sid) {
    return call("CopySid", ERROR_INSUFFICIENT_BUFFER, [&] {
        requireNonNull("CopySid", copy);
        requireNonNull("CopySid", sid);
        demand(size >= lengthOf(sid), ERROR_INSUFFICIENT_BUFFER);
        std::memmove(copy, sid, lengthOf(sid));
    });
}

/// No failure can be planned: it only reads memory, and FALSE is an answer.
BOOL WINAPI EqualSid(PSID first, PSID second) {
    return sureCall("EqualSid", [&] {
        requireNonNull("EqualSid", first);
        requireNonNull("EqualSid", second);
        const DWORD length = lengthOf(first);
        const bool same = length == lengthOf(second) && std::memcmp(first, second, length) == 0;
        SetLastError(ERROR_SUCCESS);
        return same ? TRUE : FALSE;
    });
}

BOOL WINAPI ConvertStringSidToSidW(LPCWSTR text, PSID* sid) {
    return call("ConvertStringSidToSidW", ERROR_NOT_ENOUGH_MEMORY, [&] {
        demand(text != nullptr && sid != nullptr, ERROR_INVALID_PARAMETER);
        const std::optional<Bytes> parsed = parseSid(text);
        demand(parsed.has_value(), ERROR_INVALID_SID);
        *sid = localCopy(parsed->data(), parsed->size());
    });
}

BOOL WINAPI ConvertSidToStringSidW(PSID sid, LPWSTR* text) {
    return call("ConvertSidToStringSidW", ERROR_NOT_ENOUGH_MEMORY, [&] {
        demand(text != nullptr, ERROR_INVALID_PARAMETER);
        demandValid(sid);
        const std::u16string formatted = formatSid(sid);
        *text = static_cast<LPWSTR>(
            localCopy(formatted.c_str(), (formatted.size() + 1) * sizeof(WCHAR)));
    });
}

BOOL WINAPI ConvertStringSecurityDescriptorToSecurityDescriptorW(LPCWSTR text, DWORD revision,
                                                                 PSECURITY_DESCRIPTOR* descriptor,
                                                                 PULONG size) {
    return call("ConvertStringSecurityDescriptorToSecurityDescriptorW", ERROR_NOT_ENOUGH_MEMORY,
                [&] {
                    demand(text != nullptr && descriptor != nullptr, ERROR_INVALID_PARAMETER);
                    demand(revision == SDDL_REVISION_1, ERROR_UNKNOWN_REVISION);
                    const Bytes parsed = parseDescriptor(text);
                    *descriptor = localCopy(parsed.data(), parsed.size());
                    if (size != nullptr) {
                        *size = static_cast<ULONG>(parsed.size());
                    }
                });
}

}  // extern "C"
