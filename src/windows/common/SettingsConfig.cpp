#include "windows/common/SettingsConfig.h"

void throwIfFailed(settings::Status status) {
    if (status != settings::kSuccess) {
        throw settings::Exception(status);
    }
}

SettingsConfig::SettingsConfig() {
    context_.reset(api().create());
    if (!context_.get()) {
        throwIfFailed(settings::kFailure);
    }
}

void SettingsConfig::setRules(const ValidatorHandle& validator, const KeyMapperHandle& keyMapper) {
    validator_ = &validator;
    keyMapper_ = &keyMapper;
}

settings::Status SettingsConfig::loadFile(const char* path) {
    return api().loadFile(context(), path, validatorHandle(), keyMapperHandle(), stopOnError_,
                          allowKeyWithoutValue_);
}

settings::Status SettingsConfig::loadText(const char* text) {
    return api().loadText(context(), text, validatorHandle(), keyMapperHandle(), stopOnError_,
                          allowKeyWithoutValue_);
}

const char* SettingsConfig::text(const char* key) const {
    const char* text = nullptr;
    return api().getString(context(), key, &text) == settings::kSuccess ? text : nullptr;
}

std::optional<bool> SettingsConfig::flag(const char* key) const {
    std::int32_t flag = 0;
    const bool isThere = api().getBool(context(), key, &flag) == settings::kSuccess;
    return isThere ? std::optional(flag != 0) : std::nullopt;
}
