#include "dryrun/Json.h"

#include <algorithm>
#include <numeric>
#include <set>

#include "simulated/machine/Wide.h"

namespace {

constexpr std::size_t kMostBytes = 64u << 20;
constexpr int kMostDepth = 12;
constexpr std::size_t kMostShown = 200;

std::size_t editDistance(std::string_view a, std::string_view b) {
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < a.size(); ++i) {
        std::size_t diagonal = std::exchange(row[0], i + 1);
        for (std::size_t j = 0; j < b.size(); ++j) {
            const std::size_t changed = diagonal + (std::tolower(a[i]) != std::tolower(b[j]));
            diagonal = row[j + 1];
            row[j + 1] = std::min({changed, row[j] + 1, diagonal + 1});
        }
    }
    return row.back();
}

std::string shortened(const std::string& text) {
    return text.size() <= kMostShown ? text : text.substr(0, kMostShown) + "…";
}

}  // namespace

std::string nearestName(std::string_view name, const std::vector<std::string>& known) {
    return *std::min_element(known.begin(), known.end(), [&](const auto& a, const auto& b) {
        return editDistance(name, a) < editDistance(name, b);
    });
}

Json parseJson(const std::string& name, const std::string& text) {
    if (text.size() > kMostBytes) {
        throw BadInput(name + ": expected at most 64 MB, found more");
    }
    std::vector<std::set<std::string>> objects;
    const auto watch = [&](int depth, Json::parse_event_t event, Json& parsed) {
        if (depth > kMostDepth) {
            throw BadInput(name + ": expected few levels of objects and arrays, found more than " +
                           std::to_string(kMostDepth));
        }
        if (event == Json::parse_event_t::object_start) {
            objects.emplace_back();
        } else if (event == Json::parse_event_t::object_end) {
            objects.pop_back();
        } else if (event == Json::parse_event_t::key && !objects.back().insert(parsed).second) {
            throw BadInput(name + ": expected each name once in an object, found \"" +
                           shortened(parsed) + "\" twice");
        }
        return true;
    };
    try {
        return Json::parse(text, watch);
    } catch (const Json::exception& e) {
        // "[json.exception.parse_error.101] parse error at line 1, column 2: …"
        const std::string message = e.what();
        throw BadInput(name + ": expected JSON, found a " + message.substr(message.find(']') + 2));
    }
}

std::vector<std::pair<std::string, Node>> Node::members() const {
    if (!value_->is_object()) {
        refuse("an object");
    }
    std::vector<std::pair<std::string, Node>> result;
    for (const auto& [name, value] : value_->items()) {
        if (name.find('\0') != std::string::npos) {
            refuse("names without NUL");
        }
        result.emplace_back(name, member(name, value));
    }
    return result;
}

void Node::read(const std::vector<std::pair<std::string, Reader>>& readers) const {
    std::vector<std::string> names;
    for (const auto& [name, reader] : readers) {
        names.push_back(name);
    }
    for (const auto& [name, member] : members()) {
        if (std::find(names.begin(), names.end(), name) == names.end()) {
            refuse("known names (" + nearestName(name, names) + "?)", '"' + name + '"');
        }
    }
    for (const auto& [name, reader] : readers) {
        if (has(name)) {
            reader((*this)[name]);
        }
    }
}

std::vector<Node> Node::items() const {
    if (!value_->is_array()) {
        refuse("an array");
    }
    std::vector<Node> result;
    for (std::size_t i = 0; i < value_->size(); ++i) {
        result.push_back(member("", (*value_)[i]));
        result.back().place_ = place_ + "[" + std::to_string(i) + "]";
    }
    return result;
}

std::string Node::utf8() const {
    if (!value_->is_string() ||
        value_->get_ref<const std::string&>().find('\0') != std::string::npos) {
        refuse("a text without NUL");
    }
    return *value_;
}

std::u16string Node::text() const {
    return simulated::fromUtf8(utf8());
}

bool Node::flag() const {
    if (!value_->is_boolean()) {
        refuse("true or false");
    }
    return *value_;
}

std::uint64_t Node::number(std::uint64_t most) const {
    if (!value_->is_number_unsigned() || value_->get<std::uint64_t>() > most) {
        refuse("a whole number from 0 to " + std::to_string(most));
    }
    return *value_;
}

void Node::refuse(const std::string& expected, std::string found) const {
    if (found.empty()) {
        found = value_->is_object()  ? "an object"
                : value_->is_array() ? "an array"
                                     : value_->dump();
    }
    throw BadInput(shortened(place_) + ": expected " + expected + ", found " + shortened(found));
}
