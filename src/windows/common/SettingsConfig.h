// Owners of the settings library's handles. Each holds the library's table next to its handle.
#pragma once

#include <optional>
#include <utility>

#include "settings/share/settings.h"

/// Throws settings::Exception with a status that is no success.
void throwIfFailed(settings::Status status);

/// Owns one handle of the settings library; `destroy` is the entry that ends it.
template <class Handle, void (*settings_api::*destroy)(Handle*)>
class SettingsHandle {
public:
    SettingsHandle() { getSettingsApi(&api_); }
    ~SettingsHandle() { (api_.*destroy)(handle_); }
    SettingsHandle(const SettingsHandle&) = delete;
    SettingsHandle& operator=(const SettingsHandle&) = delete;

    const settings_api& api() const { return api_; }
    Handle* get() const { return handle_; }

    /// Takes the handle over; the old one is destroyed.
    void reset(Handle* handle) { (api_.*destroy)(std::exchange(handle_, handle)); }

private:
    settings_api api_;
    Handle* handle_ = nullptr;
};

using ValidatorHandle = SettingsHandle<settings_validator, &settings_api::destroyValidator>;
using KeyMapperHandle = SettingsHandle<settings_key_mapper, &settings_api::destroyKeyMapper>;

/// One configuration and the options for loading into it.
class SettingsConfig {
public:
    /// Throws settings::Exception.
    SettingsConfig();

    /// What every load is checked and mapped by. Both must outlive the loads.
    void setRules(const ValidatorHandle& validator, const KeyMapperHandle& keyMapper);
    void setAllowKeyWithoutValue(bool allow) { allowKeyWithoutValue_ = allow; }

    settings::Status loadFile(const char* path);
    settings::Status loadText(const char* text);

    /// The key's text, owned by the configuration; null if the key has none.
    const char* text(const char* key) const;
    /// The key's flag, which one without a value has too; nothing if the key has none.
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
