// The entry points of validators and key mappers.
#include <new>

#include "settings/share/Entries.h"

namespace settings_impl {

namespace {

using settings::Status;

/// A new object, null when out of memory.
template <class T>
T* createObject() {
    return new (std::nothrow) T();
}

template <class T>
void destroyObject(T* object) {
    delete object;
}

Status buildValidator(settings_validator_builder* builder, settings_validator** validator) {
    return runEntry([&] { *validator = new settings_validator{builder->builder.buildValidator()}; },
                    builder, validator);
}

template <ValueType type>
Status addTypedKey(settings_validator_builder* builder, const char* key) {
    return runEntry([&] { builder->builder.addTypedKey(key, type); }, builder, key);
}

Status allowUnknownKeys(settings_validator_builder* builder, std::int32_t flag) {
    return runEntry([&] { builder->builder.allowUnknownKeys(flag != 0); }, builder);
}

Status addFixedValues(settings_validator_builder* builder, const char* key,
                      const FixedValue* values, std::uint32_t count) {
    return runEntry(
        [&] {
            std::vector<ListedValue> listed;
            listed.reserve(count);
            for (std::uint32_t i = 0; i < count; ++i) {
                if (!values[i].text) {
                    throw settings::Exception(settings::kNullArgument);
                }
                listed.push_back({values[i].text, values[i].value, values[i].flags});
            }
            builder->builder.addFixedValues(key, listed);
        },
        builder, key, values);
}

Status addDirnameKey(settings_validator_builder* builder, const char* key,
                     std::int32_t allowRelative) {
    return runEntry([&] { builder->builder.addDirnameKey(key, allowRelative != 0); }, builder, key);
}

Status buildKeyMapper(settings_key_mapper_builder* builder, settings_key_mapper** keyMapper) {
    return runEntry(
        [&] { *keyMapper = new settings_key_mapper{builder->builder.buildKeyMapper()}; }, builder,
        keyMapper);
}

Status addKeyMapping(settings_key_mapper_builder* builder, const char* from, const char* to,
                     std::int32_t caseSensitive) {
    return runEntry([&] { builder->builder.addKeyMapping(from, to, caseSensitive != 0); }, builder,
                    from, to);
}

}  // namespace

void fillValidatorEntries(settings_api& table) {
    table.destroyValidator = destroyObject<settings_validator>;
    table.createValidatorBuilder = createObject<settings_validator_builder>;
    table.destroyValidatorBuilder = destroyObject<settings_validator_builder>;
    table.buildValidator = buildValidator;
    table.addStringKey = addTypedKey<ValueType::String>;
    table.addIntKey = addTypedKey<ValueType::Integer>;
    table.addBoolKey = addTypedKey<ValueType::Boolean>;
    table.addDoubleKey = addTypedKey<ValueType::Double>;
    table.allowUnknownKeys = allowUnknownKeys;
    table.addFixedValues = addFixedValues;
    table.addDirnameKey = addDirnameKey;
}

void fillKeyMapperEntries(settings_api& table) {
    table.destroyKeyMapper = destroyObject<settings_key_mapper>;
    table.createKeyMapperBuilder = createObject<settings_key_mapper_builder>;
    table.destroyKeyMapperBuilder = destroyObject<settings_key_mapper_builder>;
    table.buildKeyMapper = buildKeyMapper;
    table.addKeyMapping = addKeyMapping;
}

}  // namespace settings_impl
