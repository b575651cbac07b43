// The texts of security identifiers and descriptors, by Microsoft's "SID Strings", "ACE Strings"
// and "Security Descriptor String Format": a list of entries that allow, no more.
#include <windows.h>

#include "simulated/machine/security/Security.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <iterator>

#include "simulated/machine/Calls.h"
#include "simulated/machine/Names.h"

namespace simulated {

namespace {

struct Name {
    std::string_view text;
    std::uint32_t value;
};

struct Alias {
    std::u16string_view text;
    std::u16string_view sid;
};

constexpr std::array<Alias, 5> kAliases = {{{u"AU", u"S-1-5-11"},
                                            {u"BA", u"S-1-5-32-544"},
                                            {u"BU", u"S-1-5-32-545"},
                                            {u"SY", u"S-1-5-18"},
                                            {u"WD", u"S-1-1-0"}}};

// In the order in which a description names them; the first right that fits a mask goes first.
constexpr std::array<Name, 3> kAceFlags = {
    {{"OI", OBJECT_INHERIT_ACE}, {"CI", CONTAINER_INHERIT_ACE}, {"ID", INHERITED_ACE}}};
constexpr std::array<Name, 3> kRights = {{{"FA", 0x1F01FF}, {"FR", 0x120089}, {"FX", 0x1200A0}}};

constexpr const char* kParser = "ConvertStringSecurityDescriptorToSecurityDescriptorW";

template <class T>
void append(Bytes& bytes, const T& value) {
    const auto* const first = reinterpret_cast<const std::uint8_t*>(&value);
    std::copy_n(first, sizeof(value), std::back_inserter(bytes));
}

/// Takes the text up to a separator, and the separator.
std::string takeUpTo(std::string& text, char separator) {
    const std::size_t end = std::min(text.find(separator), text.size());
    const std::string piece = text.substr(0, end);
    text.erase(0, end + 1);
    return piece;
}

/// Pairs of letters that each name some bits.
template <std::size_t n>
std::uint32_t parseBits(const std::array<Name, n>& names, const std::string& text) {
    std::uint32_t bits = 0;
    for (std::size_t at = 0; at < text.size(); at += 2) {
        const auto name = std::find_if(names.begin(), names.end(), [&](const Name& known) {
            return known.text == text.substr(at, 2);
        });
        if (name == names.end()) {
            notSupported(kParser, text);
        }
        bits |= name->value;
    }
    return bits;
}

template <std::size_t n>
std::string describeBits(const std::array<Name, n>& names, std::uint32_t bits) {
    std::string text;
    std::uint32_t rest = bits;
    for (const Name& name : names) {
        if ((bits & name.value) == name.value && (rest & name.value) != 0) {
            text += name.text;
            rest &= ~name.value;
        }
    }
    return rest == 0 ? text : text + "+" + std::to_string(rest);
}

/// One entry without its parentheses: "A;OICI;FA;;;SY".
void appendAce(Bytes& list, std::string text) {
    const std::string whole = text;
    const std::string type = takeUpTo(text, ';');
    const std::uint32_t flags = parseBits(kAceFlags, takeUpTo(text, ';'));
    const std::uint32_t mask = parseBits(kRights, takeUpTo(text, ';'));
    const std::string objects = takeUpTo(text, ';') + takeUpTo(text, ';');
    const std::optional<Bytes> sid = parseSid(fromUtf8(text));
    if (type != "A" || !objects.empty() || !sid) {
        notSupported(kParser, whole);
    }
    append(list, ACE_HEADER{ACCESS_ALLOWED_ACE_TYPE, static_cast<BYTE>(flags),
                            static_cast<WORD>(sizeof(ACE_HEADER) + sizeof(DWORD) + sid->size())});
    append(list, mask);
    list.insert(list.end(), sid->begin(), sid->end());
}

std::string describeSid(const void* sid) {
    const std::u16string text = formatSid(sid);
    const auto found = std::find_if(kAliases.begin(), kAliases.end(),
                                    [&](const Alias& alias) { return alias.sid == text; });
    return toUtf8(found == kAliases.end() ? std::u16string_view(text) : found->text);
}

}  // namespace

void Security::becomeLocalSystem() {
    user = u"S-1-5-18";
    groups = {{u"BA", 0xE}, {u"WD"}, {u"AU"}};
    elevated = true;
}

void Security::becomeFilteredAdministrator() {
    groups = {{u"WD"}, {u"BA", SE_GROUP_USE_FOR_DENY_ONLY}, {u"BU"}, {u"AU"}};
    elevated = false;
}

void Security::becomeOrdinaryUser() {
    groups = {{u"WD"}, {u"BU"}, {u"AU"}};
    elevated = false;
}

bool Security::isLocalSystem() const {
    return user == u"S-1-5-18" || user == u"SY";
}

bool Security::administers() const {
    const std::optional<Bytes> administrators = parseSid(u"BA");
    return isLocalSystem() ||
           std::any_of(groups.begin(), groups.end(), [&](const TokenGroup& group) {
               return (group.attributes & SE_GROUP_ENABLED) != 0 &&
                      parseSid(group.sid) == administrators;
           });
}

std::optional<Bytes> parseSid(std::u16string_view text) {
    const auto alias = std::find_if(kAliases.begin(), kAliases.end(),
                                    [&](const Alias& known) { return sameText(known.text, text); });
    std::string rest = toUtf8(alias == kAliases.end() ? text : alias->sid);
    if (!rest.starts_with("S-1-") || rest.ends_with('-')) {
        return std::nullopt;
    }
    rest.erase(0, 4);
    std::vector<std::uint32_t> numbers;
    while (!rest.empty()) {
        const std::string piece = takeUpTo(rest, '-');
        const char* const end = piece.data() + piece.size();
        const auto read = std::from_chars(piece.data(), end, numbers.emplace_back());
        if (read.ec != std::errc() || read.ptr != end) {
            return std::nullopt;
        }
    }
    if (numbers.size() < 2 || numbers[0] > 0xFF || numbers.size() > 1 + SID_MAX_SUB_AUTHORITIES) {
        return std::nullopt;
    }
    Bytes sid(8);
    sid[0] = SID_REVISION;
    sid[1] = static_cast<std::uint8_t>(numbers.size() - 1);
    sid[7] = static_cast<std::uint8_t>(numbers[0]);
    std::for_each(numbers.begin() + 1, numbers.end(),
                  [&](std::uint32_t number) { append(sid, number); });
    return sid;
}

std::u16string formatSid(const void* sid) {
    const auto* const bytes = static_cast<const std::uint8_t*>(sid);
    std::string text = "S-1-" + std::to_string(bytes[7]);
    for (int i = 0; i < bytes[1]; ++i) {
        std::uint32_t part;
        std::memcpy(&part, bytes + 8 + 4 * i, sizeof(part));
        text += '-' + std::to_string(part);
    }
    return fromUtf8(text);
}

Bytes parseDescriptor(std::u16string_view text) {
    std::string rest = toUtf8(text);
    if (takeUpTo(rest, ':') != "D") {
        notSupported(kParser, toUtf8(text));
    }
    Bytes entries;
    WORD count = 0;
    for (; rest.starts_with('('); ++count) {
        appendAce(entries, takeUpTo(rest, ')').substr(1));
    }
    if (!rest.empty()) {
        notSupported(kParser, toUtf8(text));
    }
    SECURITY_DESCRIPTOR_RELATIVE head = {};
    head.Revision = SECURITY_DESCRIPTOR_REVISION;
    head.Control = SE_SELF_RELATIVE | SE_DACL_PRESENT;
    head.Dacl = sizeof(head);
    const ACL list = {ACL_REVISION, 0, static_cast<WORD>(sizeof(ACL) + entries.size()), count, 0};
    Bytes result(sizeof(head) + list.AclSize);
    std::memcpy(result.data(), &head, sizeof(head));
    std::memcpy(result.data() + sizeof(head), &list, sizeof(list));
    std::copy(entries.begin(), entries.end(), result.begin() + sizeof(head) + sizeof(list));
    return result;
}

std::string describeDescriptor(std::span<const std::uint8_t> descriptor) {
    if (descriptor.empty()) {
        return {};
    }
    std::string text = "D:";
    SECURITY_DESCRIPTOR_RELATIVE head = {};
    std::memcpy(&head, descriptor.data(), sizeof(head));
    ACL list = {};
    std::memcpy(&list, descriptor.data() + head.Dacl, sizeof(list));
    const std::uint8_t* entry = descriptor.data() + head.Dacl + sizeof(list);
    for (WORD i = 0; i < list.AceCount; ++i) {
        ACCESS_ALLOWED_ACE ace = {};
        std::memcpy(&ace, entry, sizeof(ace));
        text += "(A;" + describeBits(kAceFlags, ace.Header.AceFlags) + ';' +
                describeBits(kRights, ace.Mask) + ";;;" +
                describeSid(entry + offsetof(ACCESS_ALLOWED_ACE, SidStart)) + ')';
        entry += ace.Header.AceSize;
    }
    return text;
}

}  // namespace simulated
