// What the entry points of the table share: the things behind the handles, and the frame that lets
// no exception out.
#pragma once

#include <exception>

#include "settings/share/ConfigValidatorBuilder.h"
#include "settings/share/KeyMapper.h"
#include "settings/share/settings.h"

struct settings_validator {
    settings_impl::ConfigValidator validator;
};

struct settings_validator_builder {
    settings_impl::ConfigValidatorBuilder builder;
};

struct settings_key_mapper {
    settings_impl::KeyMapper keyMapper;
};

struct settings_key_mapper_builder {
    settings_impl::KeyMapperBuilder builder;
};

namespace settings_impl {

/// Runs the work of an entry and turns what it throws into a status. A null among the arguments,
/// those of the entry that may not be null, is refused before.
template <class Work, class... Pointers>
settings::Status runEntry(Work&& work, Pointers... arguments) {
    if ((!arguments || ...)) {
        return settings::kNullArgument;
    }
    try {
        work();
        return settings::kSuccess;
    } catch (const settings::Exception& e) {
        return e.code();
    } catch (...) {
        return settings::kFailure;
    }
}

/// Fill the entries of validators and key mappers.
void fillValidatorEntries(settings_api& table);
void fillKeyMapperEntries(settings_api& table);

}  // namespace settings_impl
