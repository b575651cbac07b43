// COM: initialization, GUIDs and their strings, counted strings, error objects.

#include <windows.h>
#include <objbase.h>
#include <oleauto.h>

#include <cstdlib>
#include <cstring>
#include <random>

#include "simulated/machine/Machine.h"
#include "simulated/machine/shell/Guid.h"
#include "simulated/machine/shell/ShellObjects.h"

using namespace simulated;

namespace {

/// Returns a string to be freed by SysFreeString; the four bytes before it hold its length in
/// bytes.
BSTR makeBstr(std::u16string_view text) {
    const auto bytes = static_cast<std::uint32_t>(text.size() * sizeof(char16_t));
    auto* const block = static_cast<char*>(std::malloc(sizeof(bytes) + bytes + sizeof(char16_t)));
    demand(block != nullptr, ERROR_NOT_ENOUGH_MEMORY);
    std::memcpy(block, &bytes, sizeof(bytes));
    char* const units = block + sizeof(bytes);
    std::memcpy(units, text.data(), bytes);
    std::memset(units + bytes, 0, sizeof(char16_t));
    return reinterpret_cast<BSTR>(units);
}

class ErrorInfo final : public IErrorInfo, public ComObject {
public:
    explicit ErrorInfo(std::u16string text) : text_(std::move(text)) {}

    std::string description() const override { return "error object"; }

    HRESULT QueryInterface(REFIID, void**) override {
        notSupported("IErrorInfo::QueryInterface", "any interface");
    }
    ULONG AddRef() override { return ++references_; }
    ULONG Release() override {
        return sureCall("IErrorInfo::Release", [&] {
            const ULONG left = --references_;
            if (left == 0) {
                Machine::current().shell.remove(this);
            }
            return left;
        });
    }
    HRESULT GetDescription(BSTR* text) override {
        return resultCall("IErrorInfo::GetDescription", E_OUTOFMEMORY,
                          [&] { required("IErrorInfo::GetDescription", text) = makeBstr(text_); });
    }

private:
    std::u16string text_;
    ULONG references_ = 1;
};

}  // namespace

extern "C" {

const IID IID_IUnknown = {0x00000000, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

HRESULT WINAPI CoInitialize(LPVOID reserved) {
    return resultCall("CoInitialize", RPC_E_CHANGED_MODE, [&]() -> HRESULT {
        if (reserved != nullptr) {
            return E_INVALIDARG;
        }
        return Machine::current().shell.comStartsOfThread()++ == 0 ? S_OK : S_FALSE;
    });
}

void WINAPI CoUninitialize() {
    sureCall("CoUninitialize", [] {
        int& starts = Machine::current().shell.comStartsOfThread();
        starts -= starts > 0 ? 1 : 0;
    });
}

HRESULT WINAPI CoCreateInstance(REFCLSID clsid, LPUNKNOWN outer, DWORD, REFIID iid,
                                LPVOID* object) {
    required("CoCreateInstance", object) = nullptr;
    return resultCall("CoCreateInstance", REGDB_E_CLASSNOTREG, [&]() -> HRESULT {
        if (outer != nullptr) {
            notSupported("CoCreateInstance", "aggregation");
        }
        return Machine::current().shell.comStarts() == 0 ? CO_E_NOTINITIALIZED
                                                         : createShellObject(clsid, iid, object);
    });
}

HRESULT WINAPI CoCreateGuid(GUID* guid) {
    return resultCall("CoCreateGuid", E_FAIL, [&] {
        static std::mt19937_64 numbers{std::random_device()()};
        const std::uint64_t halves[2] = {numbers(), numbers()};
        std::memcpy(&required("CoCreateGuid", guid), halves, sizeof(halves));
        // A random GUID says so: version 4, variant 1.
        guid->Data3 = static_cast<std::uint16_t>((guid->Data3 & 0x0FFF) | 0x4000);
        guid->Data4[0] = static_cast<std::uint8_t>((guid->Data4[0] & 0x3F) | 0x80);
    });
}

int WINAPI StringFromGUID2(REFGUID guid, LPOLESTR text, int size) {
    return call("StringFromGUID2", ERROR_INSUFFICIENT_BUFFER, [&] {
        const bool fits = size > static_cast<int>(kGuidLength);
        return fits ? static_cast<int>(copyOut(guidText(guid), text, kGuidLength + 1)) + 1 : 0;
    });
}

HRESULT WINAPI IIDFromString(LPCOLESTR text, LPIID iid) {
    return resultCall("IIDFromString", CO_E_IIDSTRING, [&]() -> HRESULT {
        requireNonNull("IIDFromString", text);
        requireNonNull("IIDFromString", iid);
        if (argument(text).size() != kGuidLength) {
            return E_INVALIDARG;
        }
        if (!parseGuid(text, *iid)) {
            *iid = GUID();
            return CO_E_IIDSTRING;
        }
        return S_OK;
    });
}

HRESULT WINAPI GetErrorInfo(ULONG reserved, IErrorInfo** info) {
    required("GetErrorInfo", info) = nullptr;
    return call("GetErrorInfo", ERROR_SUCCESS, HRESULT{S_FALSE}, [&]() -> HRESULT {
        if (reserved != 0) {
            return E_INVALIDARG;
        }
        Shell& shell = Machine::current().shell;
        std::optional<std::u16string> text = shell.takeErrorInfo();
        if (!text) {
            return S_FALSE;
        }
        auto object = std::make_unique<ErrorInfo>(std::move(*text));
        *info = object.get();
        shell.add(std::move(object));
        return S_OK;
    });
}

void WINAPI SysFreeString(BSTR text) {
    sureCall("SysFreeString", [&] {
        if (text != nullptr) {
            std::free(reinterpret_cast<char*>(text) - sizeof(std::uint32_t));
        }
    });
}

UINT WINAPI SysStringLen(BSTR text) {
    return sureCall("SysStringLen", [&]() -> UINT {
        if (text == nullptr) {
            return 0;
        }
        std::uint32_t bytes = 0;
        std::memcpy(&bytes, reinterpret_cast<const char*>(text) - sizeof(bytes), sizeof(bytes));
        return bytes / static_cast<UINT>(sizeof(char16_t));
    });
}

}  // extern "C"
