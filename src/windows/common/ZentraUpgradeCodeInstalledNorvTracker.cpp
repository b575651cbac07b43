#include "windows/common/ZentraUpgradeCodeInstalledNorvTracker.h"

#include <windows.h>
#include <msi.h>

#include <stdexcept>

#include "common/share/PmtError.h"
#include "common/share/Text.h"
#include "common/share/tstrings.h"
#include "windows/common/Bundle.h"
#include "windows/common/GroupTracker.h"
#include "windows/common/Guid.h"
#include "windows/common/SysInfo.h"

namespace {

/// A product code and its NUL.
constexpr std::size_t kProductCodeBuffer = 39;

/// The upgrade codes of one type and architecture, in ascending order of the first version number.
class UpgradeCodeIterator {
public:
    UpgradeCodeIterator(std::int32_t type, std::uint32_t bits)
        : format_(getTemplate(type)), bits_(bits) {}

    /// Returns the next code; an empty one after the last.
    Guid next() {
        constexpr int kEnd = 100;
        if (number_ >= kEnd) {
            return Guid();
        }
        return Guid(tstrings::unsafe_format(format_, static_cast<int>(bits_), number_++));
    }

private:
    static const TCHAR* getTemplate(std::int32_t type) {
        switch (type) {
            case Bundle::kQvr:
                return _T("57BDA5C6-443C-4D65-B233-28239%2d2%04d");
            case Bundle::kQvk:
                return _T("%2dA3A4F4-B792-11D6-A78A-00B0D02%04d0");
            default:
                raise<std::runtime_error>("`anonymous-namespace'::UpgradeCodeIterator::getTemplate",
                                          "Unrecognized product type");
        }
    }

    const TCHAR* format_;
    std::uint32_t bits_;
    int number_ = 9;  // the first version of the scheme
};

class InstalledNorvTrackerBase : public InstalledNorvTracker {
public:
    InstalledNorvTrackerBase(std::int32_t type, std::uint32_t bits) : upgradeCodes_(type, bits) {
        current_.type = type;
        current_.bits = bits;
        current_.version = NorvVersionDetails::Base::unknown();
    }

    const TrackedProduct* next() override {
        for (;;) {
            if (upgradeCode_.empty()) {
                const Guid code = upgradeCodes_.next();
                if (code.isEmpty()) {
                    return nullptr;
                }
                upgradeCode_ = code.toString();
                index_ = 0;
            }
            TCHAR buffer[kProductCodeBuffer] = {};
            const UINT status = MsiEnumRelatedProductsW(upgradeCode_.c_str(), 0, index_++, buffer);
            if (status == ERROR_SUCCESS) {
                current_.productCode = buffer;
                return &current_;
            }
            if (status != ERROR_NO_MORE_ITEMS) {
                raise<std::runtime_error>(
                    "`anonymous-namespace'::InstalledNorvTrackerBase::next",
                    Text() << _T("MsiEnumRelatedProducts(") << upgradeCode_ << _T(", ") << index_
                           << _T(") failed with error=[") << status << _T("]"));
            }
            upgradeCode_.clear();
        }
    }

private:
    UpgradeCodeIterator upgradeCodes_;
    tstring upgradeCode_;  // empty for none
    DWORD index_ = 0;
    TrackedProduct current_;
};

template <bool isQvk, std::uint32_t bits>
class UpgradeCodeInstalledNorvTracker : public InstalledNorvTrackerBase {
public:
    UpgradeCodeInstalledNorvTracker()
        : InstalledNorvTrackerBase(isQvk ? Bundle::kQvk : Bundle::kQvr, bits) {}
};

template <std::uint32_t bits>
using ArchTracker = GroupTracker<UpgradeCodeInstalledNorvTracker<false, bits>,
                                 UpgradeCodeInstalledNorvTracker<true, bits>>;

std::unique_ptr<InstalledNorvTracker> makeGroup() {
    if (SysInfo::is64BitOs()) {
        return std::make_unique<GroupTracker<ArchTracker<32>, ArchTracker<64>>>();
    }
    return std::make_unique<ArchTracker<32>>();
}

}  // namespace

ZentraUpgradeCodeInstalledNorvTracker::ZentraUpgradeCodeInstalledNorvTracker()
    : group_(makeGroup()) {}

const TrackedProduct* ZentraUpgradeCodeInstalledNorvTracker::next() {
    return group_->next();
}
