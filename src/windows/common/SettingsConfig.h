// Owners of the settings library's handles, each of which keeps the library's table next to its
// handle.
#pragma once

#include <optional>
#include <utility>

#include "settings/share/settings.h"

/// Throws settings::Exception for any status but success.
void throwIfFailed(settings::Status status);

/// Owns a handle of the settings library; `destroy` is the entry that destroys it.
template <class Handle, void (*settings_api::*destroy)(Handle*)>
class SettingsHandle {
public:
    SettingsHandle() { getSettingsApi(&api_); }
    ~SettingsHandle() { (api_.*destroy)(handle_); }
    SettingsHandle(const SettingsHandle&) = delete;
    SettingsHandle& operator=(const SettingsHandle&) = delete;

    const settings_api& api() const { return api_; }
    Handle* get() const { return handle_; }

    /// Takes ownership of the handle; destroys the old one.
    void reset(Handle* handle) { (api_.*destroy)(std::exchange(handle_, handle)); }

private:
    settings_api api_;
    Handle* handle_ = nullptr;
};

using ValidatorHandle = SettingsHandle<settings_validator, &settings_api::destroyValidator>;
using KeyMapperHandle = SettingsHandle<settings_key_mapper, &settings_api::destroyKeyMapper>;

/// A configuration and the options for loading into it.
class SettingsConfig {
public:
    /// Throws settings::Exception.
    SettingsConfig();

    /// Sets the rules that every load is checked and mapped by. Both must outlive the loads.
    void setRules(const ValidatorHandle& validator, const KeyMapperHandle& keyMapper);
    void setAllowKeyWithoutValue(bool allow) { allowKeyWithoutValue_ = allow; }

    settings::Status loadFile(const char* path);
    settings::Status loadText(const char* text);

    /// Returns the key's string, owned by the configuration; null if the key has none.
    const char* text(const char* key) const;
    /// Returns the key's flag, which a key without a value has too; nothing if it has none.
    std::optional<bool> flag(const char* key) const;

    const settings_api& api() const { return context_.api(); }
    settings_context* context() const { return context_.get(); }

private:
    settings_validator* validatorHandle() const { return validator_ ? validator_->get() : nullptr; }
    settings_key_mapper* keyMapperHandle() const {
        return keyMapper_ ? keyMapper_->get() : nullptr;
    }

    SettingsHandle<settings_context, &settings_api::destroy> context_;
    bool allowKeyWithoutValue_ = false;
    bool stopOnError_ = true;
    const ValidatorHandle* validator_ = nullptr;
    const KeyMapperHandle* keyMapper_ = nullptr;
};
