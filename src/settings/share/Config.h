// Creates configurations. A configuration is immutable: merging and removing keys create a new one.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "settings/share/IConfig.h"

namespace settings_impl {

/// Keys in the order of their bytes; a null pointer means a key without a value.
using ConfigMap = std::map<std::string, std::unique_ptr<ConfigValue>>;

std::unique_ptr<IConfig> makeConfig(ConfigMap values);

/// Returns the keys of both; where both have a key, the entry of `second` wins, also without a
/// value.
std::unique_ptr<IConfig> merge(const IConfig& first, const IConfig& second);

/// Returns a copy without the keys. Throws ExceptionCode<303> if one of them doesn't exist.
std::unique_ptr<IConfig> removeKeys(const IConfig& config, const std::vector<std::string>& keys);

/// Returns whether both have the same keys with the same types and values.
bool equal(const IConfig& first, const IConfig& second);

}  // namespace settings_impl
