// Concatenates two trackers.
#pragma once

#include <memory>
#include <set>

#include "common/share/Logger.h"
#include "common/share/Text.h"
#include "windows/common/InstalledNorvTracker.h"

/// Returns the products of A, then those of B, each product code once: the first occurrence wins.
/// Each tracker is created when it is reached.
template <class A, class B>
class GroupTracker : public InstalledNorvTracker {
public:
    const TrackedProduct* next() override {
        for (;;) {
            if (!current_ && !makeMember()) {
                return nullptr;
            }
            const TrackedProduct* product = current_->next();
            if (product == nullptr) {
                current_.reset();
                ++member_;
            } else if (delivered_.insert(product->productCode).second) {
                return product;
            } else {
                LOG_WARNING("GroupTracker::next", Text() << _T("Product with ProductCode=[")
                                                         << product->productCode
                                                         << _T("] is tracked multiple times"));
            }
        }
    }

private:
    /// Returns false after the last tracker.
    bool makeMember() {
        if (member_ == 0) {
            current_ = std::make_unique<A>();
        } else if (member_ == 1) {
            current_ = std::make_unique<B>();
        }
        return current_ != nullptr;
    }

    std::unique_ptr<InstalledNorvTracker> current_;
    int member_ = 0;
    std::set<tstring> delivered_;
};
