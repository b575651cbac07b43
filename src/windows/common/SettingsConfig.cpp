#include "windows/common/SettingsConfig.h"

void throwIfFailed(settings::Status status) {
    if (status != settings::kSuccess) {
        throw settings::Exception(status);
    }
}

SettingsConfig::SettingsConfig() {
    context_.reset(api().create());
    if (!context_.get()) {
        throw settings::Exception(settings::kFailure);
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
