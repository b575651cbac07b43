// A configuration as its readers see it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "settings/share/ConfigValue.h"

namespace settings_impl {

/// Keys with their values. Every read of a key throws ExceptionCode<303> if the key isn't there,
/// and all but `hasValue` throw ExceptionCode<301> if it has no value or one of another type. A
/// `Raw` value is converted to the type asked for, which throws ExceptionCode<302> where it can't
/// be.
class IConfig {
public:
    virtual ~IConfig() = default;
    virtual ValueType getType(const std::string& key) const = 0;
    virtual bool hasValue(const std::string& key) const = 0;
    /// Owned by the configuration.
    virtual const char* getString(const std::string& key) const = 0;
    virtual std::int32_t getInt(const std::string& key) const = 0;
    virtual double getDouble(const std::string& key) const = 0;
    virtual bool getBool(const std::string& key) const = 0;
    virtual std::string getText(const std::string& key) const = 0;
    /// In the order of their bytes; the texts are owned by the configuration.
    virtual std::vector<const char*> keys() const = 0;
};

}  // namespace settings_impl
