// Throws the library's failures: one call with the status.
#pragma once

#include "settings/share/SettingsException.h"

namespace settings_impl {

/// A failure whose type carries its status.
template <settings::Status status>
class ExceptionCode : public settings::Exception {
public:
    ExceptionCode() : settings::Exception(status) {}
};

template <settings::Status status>
[[noreturn]] [[gnu::noinline]] void fail() {
    throw ExceptionCode<status>();
}

[[noreturn]] [[gnu::noinline]] inline void fail(settings::Status status) {
    throw settings::Exception(status);
}

}  // namespace settings_impl
