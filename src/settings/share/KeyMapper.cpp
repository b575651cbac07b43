#include "settings/share/KeyMapper.h"

#include "settings/share/Bytes.h"

namespace settings_impl {

namespace {

class SimpleKeyMapper : public IKeyMapper {
public:
    SimpleKeyMapper(const std::string& from, const std::string& to, bool caseSensitive)
        : from_(from), to_(to), caseSensitive_(caseSensitive) {}

    std::pair<std::string, bool> map(std::string key) const override {
        if (key == from_ || (!caseSensitive_ && equalsIgnoringCase(key, from_))) {
            return {to_, true};
        }
        return {std::move(key), false};
    }

private:
    std::string from_;
    std::string to_;
    bool caseSensitive_;
};

template <class Mapper>
class KeyMapperFactory : public KeyMapperBuilder::IKeyMapperFactory {
public:
    explicit KeyMapperFactory(Mapper mapper) : mapper_(std::move(mapper)) {}

    std::unique_ptr<IKeyMapper> create() const override {
        return std::make_unique<Mapper>(mapper_);
    }

private:
    Mapper mapper_;
};

}  // namespace

std::string KeyMapper::map(std::string key) const {
    for (auto mapper = mappers_.rbegin(); mapper != mappers_.rend(); ++mapper) {
        auto [mapped, matched] = (*mapper)->map(std::move(key));
        key = std::move(mapped);
        if (matched) {
            break;
        }
    }
    return key;
}

void KeyMapperBuilder::addKeyMapping(const std::string& from, const std::string& to,
                                     bool caseSensitive) {
    factories_.push_back(std::make_unique<KeyMapperFactory<SimpleKeyMapper>>(
        SimpleKeyMapper(from, to, caseSensitive)));
}

KeyMapper KeyMapperBuilder::buildKeyMapper() const {
    std::vector<std::unique_ptr<IKeyMapper>> mappers;
    for (const auto& factory : factories_) {
        mappers.push_back(factory->create());
    }
    return KeyMapper(std::move(mappers));
}

}  // namespace settings_impl
