#include "settings/share/Config.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "settings/share/ExceptionCode.h"
#include "settings/share/NumberText.h"

namespace settings_impl {

namespace {

class Config : public IConfig {
public:
    explicit Config(ConfigMap values) : values_(std::move(values)) {}

    ValueType getType(const std::string& key) const override { return value(key).type(); }

    bool hasValue(const std::string& key) const override { return find(key) != nullptr; }

    const char* getString(const std::string& key) const override {
        return value(key).text().c_str();
    }

    std::int32_t getInt(const std::string& key) const override {
        const ConfigValue& found = value(key, ValueType::Integer);
        return found.type() == ValueType::Raw ? textToInt(found.text()) : found.integer();
    }

    double getDouble(const std::string& key) const override {
        const ConfigValue& found = value(key, ValueType::Double);
        return found.type() == ValueType::Raw ? textToDouble(found.text()) : found.real();
    }

    bool getBool(const std::string& key) const override {
        const ConfigValue& found = value(key, ValueType::Boolean);
        return found.type() == ValueType::Raw ? textToBool(found.text()) : found.boolean();
    }

    std::string getText(const std::string& key) const override { return value(key).text(); }

    std::vector<const char*> keys() const override {
        std::vector<const char*> result;
        for (const auto& entry : values_) {
            result.push_back(entry.first.c_str());
        }
        return result;
    }

private:
    const ConfigValue* find(const std::string& key) const {
        const auto found = values_.find(key);
        if (found == values_.end()) {
            fail<settings::kNoSuchKey>();
        }
        return found->second.get();
    }

    const ConfigValue& value(const std::string& key) const {
        const ConfigValue* found = find(key);
        if (!found) {
            fail<settings::kNoFittingValue>();
        }
        return *found;
    }

    /// Returns a value of the type, converted if need be.
    const ConfigValue& value(const std::string& key, ValueType type) const {
        const ConfigValue& found = value(key);
        if (found.type() != type && found.type() != ValueType::Raw) {
            fail<settings::kNoFittingValue>();
        }
        return found;
    }

    ConfigMap values_;
};

std::unique_ptr<ConfigValue> copyValue(const IConfig& config, const std::string& key) {
    if (!config.hasValue(key)) {
        return nullptr;
    }
    const ValueType type = config.getType(key);
    const char* text = config.getString(key);
    switch (type) {
        case ValueType::Raw:
        case ValueType::String:
            return std::make_unique<ConfigValue>(type, text);
        case ValueType::Integer:
            return std::make_unique<ConfigValue>(ConfigValue::ofInteger(config.getInt(key), text));
        case ValueType::Boolean:
            return std::make_unique<ConfigValue>(ConfigValue::ofBoolean(config.getBool(key), text));
        case ValueType::Double:
            return std::make_unique<ConfigValue>(
                ConfigValue::ofDouble(config.getDouble(key), text));
    }
    throw std::runtime_error("unexpected");
}

/// Keys arrive in order, so the end is usually the right insertion hint.
void copyInto(ConfigMap& values, const IConfig& config) {
    for (const std::string key : config.keys()) {
        values.insert_or_assign(values.end(), key, copyValue(config, key));
    }
}

bool equalValues(const IConfig& first, const IConfig& second, const std::string& key) {
    if (!first.hasValue(key) || !second.hasValue(key)) {
        return first.hasValue(key) == second.hasValue(key);
    }
    const ValueType type = first.getType(key);
    if (type != second.getType(key)) {
        return false;
    }
    switch (type) {
        case ValueType::Integer:
            return first.getInt(key) == second.getInt(key);
        case ValueType::Boolean:
            return first.getBool(key) == second.getBool(key);
        case ValueType::Double:
            return first.getDouble(key) == second.getDouble(key);
        default:
            return std::strcmp(first.getString(key), second.getString(key)) == 0;
    }
}

}  // namespace

std::unique_ptr<IConfig> makeConfig(ConfigMap values) {
    return std::make_unique<Config>(std::move(values));
}

std::unique_ptr<IConfig> merge(const IConfig& first, const IConfig& second) {
    ConfigMap values;
    copyInto(values, first);
    copyInto(values, second);
    return makeConfig(std::move(values));
}

std::unique_ptr<IConfig> removeKeys(const IConfig& config, const std::vector<std::string>& keys) {
    ConfigMap values;
    copyInto(values, config);
    for (const std::string& key : keys) {
        if (!values.contains(key)) {
            fail<settings::kNoSuchKey>();
        }
    }
    for (const std::string& key : keys) {
        values.erase(key);
    }
    return makeConfig(std::move(values));
}

bool equal(const IConfig& first, const IConfig& second) {
    if (&first == &second) {
        return true;
    }
    const std::vector<const char*> keys = first.keys();
    const std::vector<const char*> others = second.keys();
    const auto sameText = [](const char* a, const char* b) { return std::strcmp(a, b) == 0; };
    return std::equal(keys.begin(), keys.end(), others.begin(), others.end(), sameText) &&
           std::all_of(keys.begin(), keys.end(),
                       [&](const char* key) { return equalValues(first, second, key); });
}

}  // namespace settings_impl
