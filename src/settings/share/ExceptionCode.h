// Failures of the settings library whose status is known where they are thrown.
#pragma once

#include "settings/share/SettingsException.h"

namespace settings_impl {

template <settings::Status status>
class ExceptionCode : public settings::Exception {
public:
    ExceptionCode() : settings::Exception(status) {}
};

}  // namespace settings_impl
