#include "settings/share/ConfigValidator.h"

namespace settings_impl {

std::unique_ptr<ConfigValue> ConfigValidator::validate(const std::string& key,
                                                       const char* value) const {
    const auto rule = rules_.find(key);
    if (rule != rules_.end()) {
        return rule->second->validate(value);
    }
    if (!allowUnknownKeys_) {
        throw InavlidKeyError();
    }
    return std::make_unique<ConfigValue>(ValueType::Raw, value);
}

}  // namespace settings_impl
