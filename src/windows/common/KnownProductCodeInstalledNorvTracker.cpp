#include "windows/common/KnownProductCodeInstalledNorvTracker.h"

#include <windows.h>
#include <msi.h>

#include <stdexcept>
#include <string_view>

#include "common/share/Logger.h"
#include "common/share/PmtError.h"
#include "common/share/Text.h"
#include "common/share/tstrings.h"
#include "windows/common/Bundle.h"

namespace {

constexpr std::int32_t kQvr = Bundle::kQvr;
constexpr std::int32_t kQvk = Bundle::kQvk;
constexpr std::int32_t kGfx = Bundle::kNorvGfx;

/// The first matching row wins.
constexpr ProductCodeTemplate kTemplates[] = {
    {_T("{7148F0A8-6813-11D6-A77B-00B0D0142UUX}"), kQvr, 32, 1, 4, 2, -1},
    {_T("{35A3A4F4-B792-11D6-A78A-00B0D0142UUX}"), kQvk, 32, 1, 4, 2, -1},
    {_T("{32A3A4F4-B792-11D6-A78A-00B0D015OUUX}"), kQvk, 32, 1, 5, -1, -1},
    {_T("{64A3A4F4-B792-11D6-A78A-00B0D015OUUX}"), kQvk, 64, 1, 5, -1, -1},
    {_T("{32A3A4F4-B792-11D6-A78A-00B0D0MNOXXX}"), kQvk, 32, -1, -1, -1, -1},
    {_T("{64A3A4F4-B792-11D6-A78A-00B0D0MNOXXX}"), kQvk, 64, -1, -1, -1, -1},
    {_T("{3248F0A8-6813-11D6-A77B-00B0D0MNOUUX}"), kQvr, 32, -1, -1, -1, -1},
    {_T("{6448F0A8-6813-11D6-A77B-00B0D0MNOUUX}"), kQvr, 64, -1, -1, -1, -1},
    {_T("{26A24AE4-039D-4CA4-87B4-2FX32MNOUUXX}"), kQvr, 32, -1, -1, -1, -1},
    {_T("{26A24AE4-039D-4CA4-87B4-2FX64MNOUUXX}"), kQvr, 64, -1, -1, -1, -1},
    {_T("{26A24AE4-039D-4CA4-87B4-2F32MNOUUUXX}"), kQvr, 32, -1, -1, -1, -1},
    {_T("{26A24AE4-039D-4CA4-87B4-2F64MNOUUUXX}"), kQvr, 64, -1, -1, -1, -1},
    {_T("{XXX24AE4-039E-4CA4-87B4-2F32MNOUUUXX}"), kQvr, 32, -1, -1, -1, -1},
    {_T("{XXX24AE4-039E-4CA4-87B4-2F64MNOUUUXX}"), kQvr, 64, -1, -1, -1, -1},
    {_T("{1111706F-666A-4037-7777-MNO328764D10}"), kGfx, 32, -1, -1, -1, -1},
    {_T("{1111706F-666A-4037-7777-MNO648764D10}"), kGfx, 64, -1, -1, -1, -1},
    {_T("{1111706F-666A-4037-7777-MNOO03264D10}"), kGfx, 32, -1, -1, -1, -1},
    {_T("{1111706F-666A-4037-7777-MNOO06464D10}"), kGfx, 64, -1, -1, -1, -1},
};

/// A product code and its NUL.
constexpr std::size_t kProductCodeBuffer = 39;

/// More failures in a row than this mean that the list can't be read at all, not that entries are
/// damaged.
constexpr int kMaxFailuresInARow = 256;

bool isDigit(TCHAR c) {
    return c >= _T('0') && c <= _T('9');
}

bool isUpperHexDigit(TCHAR c) {
    return isDigit(c) || (c >= _T('A') && c <= _T('F'));
}

tstring presetText(std::int32_t preset) {
    return preset == -1 ? tstring() : tstrings::toString(preset);
}

/// The numbers of a version as a product code spells them.
struct Digits {
    explicit Digits(const ProductCodeTemplate& row)
        : major(presetText(row.major)),
          minor(presetText(row.minor)),
          micro(presetText(row.micro)),
          update(presetText(row.update)) {}

    /// Returns the number that a placeholder stands for, or null.
    tstring* of(TCHAR placeholder) {
        switch (placeholder) {
            case _T('M'):
                return &major;
            case _T('N'):
                return &minor;
            case _T('O'):
                return &micro;
            case _T('U'):
                return &update;
            default:
                return nullptr;
        }
    }

    tstring versionText() const {
        Text text;
        text << major << _T(".") << minor << _T(".") << micro;
        if (update.find_first_not_of(_T('0')) != tstring::npos) {
            text << _T("_") << update;
        }
        return text;
    }

    tstring major;
    tstring minor;
    tstring micro;
    tstring update;
};

bool matches(const ProductCodeTemplate& row, const tstring& productCode, Digits& digits) {
    const std::basic_string_view<TCHAR> pattern(row.pattern);
    if (pattern.size() != productCode.size()) {
        return false;
    }
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        const TCHAR c = productCode[i];
        if (pattern[i] == c) {
            continue;
        }
        tstring* number = digits.of(pattern[i]);
        if (number != nullptr && isDigit(c)) {
            *number += c;
        } else if (pattern[i] != _T('X') || !isUpperHexDigit(c)) {
            return false;
        }
    }
    return true;
}

NorvVersionDetails::Base versionOf(const ProductCodeTemplate& row, const tstring& versionText) {
    NorvVersionDetails::Base version(versionText);
    if (row.type == kQvr || row.type == kQvk) {
        version = SpecializedVersion<NorvVersionDetails::BaseLegacy>(version);
        // A product code has no build number.
        version.leaveOutFrom(4);
    }
    return version;
}

}  // namespace

const ProductCodeTemplate* KnownProductCodeInstalledNorvTracker::match(const tstring& productCode,
                                                                       tstring& versionText) {
    for (const ProductCodeTemplate& row : kTemplates) {
        Digits digits(row);
        if (matches(row, productCode, digits)) {
            versionText = digits.versionText();
            return &row;
        }
    }
    return nullptr;
}

const TrackedProduct* KnownProductCodeInstalledNorvTracker::next() {
    constexpr const char* kFunction = "KnownProductCodeInstalledNorvTracker::next";
    for (int failures = 0;;) {
        TCHAR buffer[kProductCodeBuffer] = {};
        const UINT status = MsiEnumProductsW(index_, buffer);
        if (status == ERROR_NO_MORE_ITEMS) {
            return nullptr;
        }
        const DWORD index = index_++;
        if (status != ERROR_SUCCESS) {
            const Text failure = Text() << _T("MsiEnumProducts(") << index
                                        << _T(") failed with error=[") << status << _T("]");
            LOG_ERROR(kFunction, Text() << failure << _T(" \nIgnored."));
            if (++failures == kMaxFailuresInARow) {
                raise<std::runtime_error>(kFunction, failure);
            }
            continue;
        }
        failures = 0;
        const tstring productCode = buffer;
        tstring versionText;
        const ProductCodeTemplate* row = match(productCode, versionText);
        if (row == nullptr) {
            continue;
        }
        current_ = TrackedProduct{productCode, row->type, static_cast<std::uint32_t>(row->bits),
                                  versionOf(*row, versionText), nullptr};
        return &current_;
    }
}
