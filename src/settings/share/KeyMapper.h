// Converts the keys of a configuration to the spelling in which they are listed.
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace settings_impl {

class IKeyMapper {
public:
    virtual ~IKeyMapper() = default;
    /// Returns the mapped key and whether the mapper matched; a key without a mapping is returned
    /// unchanged.
    virtual std::pair<std::string, bool> map(std::string key) const = 0;
};

/// A chain of mappers: of those that match, only the one added last applies.
class KeyMapper {
public:
    explicit KeyMapper(std::vector<std::unique_ptr<IKeyMapper>> mappers)
        : mappers_(std::move(mappers)) {}

    std::string map(std::string key) const;

private:
    std::vector<std::unique_ptr<IKeyMapper>> mappers_;
};

class KeyMapperBuilder {
public:
    class IKeyMapperFactory {
    public:
        virtual ~IKeyMapperFactory() = default;
        virtual std::unique_ptr<IKeyMapper> create() const = 0;
    };

    /// Maps keys equal to `from` to `to`; `caseSensitive` decides how they are compared.
    void addKeyMapping(const std::string& from, const std::string& to, bool caseSensitive);

    /// The mapper doesn't refer to the builder.
    KeyMapper buildKeyMapper() const;

private:
    std::vector<std::unique_ptr<IKeyMapperFactory>> factories_;
};

}  // namespace settings_impl
