// The texts of security identifiers and descriptors, by Microsoft's "SID Strings", "ACE Strings"
// and "Security Descriptor String Format".
#include <windows.h>

#include "simulated/machine/Security.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "simulated/machine/Wide.h"

namespace simulated {

namespace {

struct Name {
    std::u16string_view text;
    std::uint32_t value;
};

struct Alias {
    std::u16string_view text;
    std::u16string_view sid;
};

constexpr std::array<Alias, 28> kAliases = {{
    {u"AN", u"S-1-5-7"},      {u"AO", u"S-1-5-32-548"}, {u"AU", u"S-1-5-11"},
    {u"BA", u"S-1-5-32-544"}, {u"BG", u"S-1-5-32-546"}, {u"BO", u"S-1-5-32-551"},
    {u"BU", u"S-1-5-32-545"}, {u"CG", u"S-1-3-1"},      {u"CO", u"S-1-3-0"},
    {u"ED", u"S-1-5-9"},      {u"IU", u"S-1-5-4"},      {u"LS", u"S-1-5-19"},
    {u"LU", u"S-1-5-32-559"}, {u"MU", u"S-1-5-32-558"}, {u"NO", u"S-1-5-32-556"},
    {u"NS", u"S-1-5-20"},     {u"NU", u"S-1-5-2"},      {u"OW", u"S-1-3-4"},
    {u"PO", u"S-1-5-32-550"}, {u"PS", u"S-1-5-10"},     {u"PU", u"S-1-5-32-547"},
    {u"RC", u"S-1-5-12"},     {u"RD", u"S-1-5-32-555"}, {u"RE", u"S-1-5-32-552"},
    {u"SO", u"S-1-5-32-549"}, {u"SU", u"S-1-5-6"},      {u"SY", u"S-1-5-18"},
    {u"WD", u"S-1-1-0"},
}};

constexpr std::array<Name, 7> kAceFlags = {{{u"CI", CONTAINER_INHERIT_ACE},
                                            {u"FA", FAILED_ACCESS_ACE_FLAG},
                                            {u"ID", INHERITED_ACE},
                                            {u"IO", INHERIT_ONLY_ACE},
                                            {u"NP", NO_PROPAGATE_INHERIT_ACE},
                                            {u"OI", OBJECT_INHERIT_ACE},
                                            {u"SA", SUCCESSFUL_ACCESS_ACE_FLAG}}};

// The first that fits describes a mask.
constexpr std::array<Name, 25> kRights = {{
    {u"FA", 0x1F01FF},   {u"FR", 0x120089},   {u"FW", 0x120116},   {u"FX", 0x1200A0},
    {u"KA", 0xF003F},    {u"KR", 0x20019},    {u"KW", 0x20006},    {u"KX", 0x20019},
    {u"GA", 0x10000000}, {u"GX", 0x20000000}, {u"GW", 0x40000000}, {u"GR", 0x80000000},
    {u"SD", 0x10000},    {u"RC", 0x20000},    {u"WD", 0x40000},    {u"WO", 0x80000},
    {u"CC", 0x1},        {u"DC", 0x2},        {u"LC", 0x4},        {u"SW", 0x8},
    {u"RP", 0x10},       {u"WP", 0x20},       {u"DT", 0x40},       {u"LO", 0x80},
    {u"CR", 0x100},
}};

constexpr std::array<Name, 3> kAceTypes = {{{u"A", ACCESS_ALLOWED_ACE_TYPE},
                                            {u"D", ACCESS_DENIED_ACE_TYPE},
                                            {u"AU", SYSTEM_AUDIT_ACE_TYPE}}};

template <std::size_t n>
const Name* findName(const std::array<Name, n>& names, std::u16string_view text) {
    const auto found = std::find_if(names.begin(), names.end(),
                                    [&](const Name& name) { return sameText(name.text, text); });
    return found == names.end() ? nullptr : &*found;
}

template <class T>
void append(Bytes& bytes, const T& value) {
    const auto* const first = reinterpret_cast<const std::uint8_t*>(&value);
    bytes.insert(bytes.end(), first, first + sizeof(value));
}

/// A number as C writes it: decimal, 0x.., 0...
std::optional<std::uint64_t> parseNumber(std::u16string_view text, std::uint64_t limit) {
    unsigned base = 10;
    if (text.size() > 2 && text[0] == u'0' && upperCase(text[1]) == u'X') {
        base = 16;
        text.remove_prefix(2);
    } else if (text.size() > 1 && text[0] == u'0') {
        base = 8;
    }
    std::uint64_t number = 0;
    for (const char16_t c : text) {
        const char16_t upper = upperCase(c);
        const unsigned digit = upper >= u'0' && upper <= u'9'   ? upper - u'0'
                               : upper >= u'A' && upper <= u'F' ? upper - u'A' + 10
                                                                : 16;
        if (digit >= base || number > (limit - digit) / base) {
            return std::nullopt;
        }
        number = number * base + digit;
    }
    return text.empty() ? std::nullopt : std::optional(number);
}

/// Pairs of letters that each name some bits.
template <std::size_t n>
std::optional<std::uint32_t> parseBits(const std::array<Name, n>& names, std::u16string_view text) {
    std::uint32_t bits = 0;
    for (; !text.empty(); text.remove_prefix(std::min<std::size_t>(2, text.size()))) {
        const Name* const name = findName(names, text.substr(0, 2));
        if (name == nullptr) {
            return std::nullopt;
        }
        bits |= name->value;
    }
    return bits;
}

/// Takes the identifier that stands at the front of a text.
std::optional<Bytes> takeSid(std::u16string_view& text) {
    std::size_t length = 2;
    if (text.size() > 2 && upperCase(text[0]) == u'S' && text[1] == u'-') {
        while (length < text.size() &&
               (text[length] == u'-' || (text[length] >= u'0' && text[length] <= u'9'))) {
            ++length;
        }
    }
    const std::optional<Bytes> sid = parseSid(text.substr(0, length));
    text.remove_prefix(std::min(length, text.size()));
    return sid;
}

/// One entry without its parentheses: "A;OICI;FA;;;SY". Gives the status of the failure.
DWORD appendAce(Bytes& list, std::u16string_view text) {
    std::vector<std::u16string_view> fields;
    for (std::size_t end; (end = text.find(u';')) != std::u16string_view::npos;) {
        fields.push_back(text.substr(0, end));
        text.remove_prefix(end + 1);
    }
    fields.push_back(text);
    if (fields.size() != 6 || !fields[3].empty() || !fields[4].empty()) {
        return ERROR_INVALID_ACL;
    }
    const Name* const type = findName(kAceTypes, fields[0]);
    const std::optional<std::uint32_t> flags = parseBits(kAceFlags, fields[1]);
    std::optional<std::uint32_t> mask = parseBits(kRights, fields[2]);
    if (!mask) {
        if (const auto number = parseNumber(fields[2], 0xFFFFFFFF)) {
            mask = static_cast<std::uint32_t>(*number);
        }
    }
    if (type == nullptr || !flags || !mask) {
        return ERROR_INVALID_ACL;
    }
    const std::optional<Bytes> sid = parseSid(fields[5]);
    if (!sid) {
        return ERROR_INVALID_SID;
    }
    append(list, ACE_HEADER{static_cast<BYTE>(type->value), static_cast<BYTE>(*flags),
                            static_cast<WORD>(sizeof(ACE_HEADER) + sizeof(DWORD) + sid->size())});
    append(list, *mask);
    list.insert(list.end(), sid->begin(), sid->end());
    return ERROR_SUCCESS;
}

struct ParsedList {
    bool present = false;
    SECURITY_DESCRIPTOR_CONTROL control = 0;
    Bytes bytes;  ///< of an ACL; empty for a null one
};

/// Takes flags and entries: "PAI(A;;FA;;;SY)(...)". The control bits are those of a DACL.
DWORD takeList(std::u16string_view& text, ParsedList& list) {
    list.present = true;
    constexpr std::u16string_view kNull = u"NO_ACCESS_CONTROL";
    if (text.starts_with(kNull)) {
        text.remove_prefix(kNull.size());
        return ERROR_SUCCESS;
    }
    for (bool more = true; more;) {
        const auto take = [&](std::u16string_view flag, WORD bit) {
            const bool found = text.starts_with(flag);
            text.remove_prefix(found ? flag.size() : 0);
            list.control = static_cast<WORD>(list.control | (found ? bit : 0));
            return found;
        };
        more = take(u"P", SE_DACL_PROTECTED) || take(u"AR", SE_DACL_AUTO_INHERIT_REQ) ||
               take(u"AI", SE_DACL_AUTO_INHERITED);
    }
    Bytes entries;
    WORD count = 0;
    for (; !text.empty() && text.front() == u'('; ++count) {
        const std::size_t end = text.find(u')');
        if (end == std::u16string_view::npos) {
            return ERROR_INVALID_ACL;
        }
        if (const DWORD status = appendAce(entries, text.substr(1, end - 1));
            status != ERROR_SUCCESS) {
            return status;
        }
        text.remove_prefix(end + 1);
    }
    append(list.bytes,
           ACL{ACL_REVISION, 0, static_cast<WORD>(sizeof(ACL) + entries.size()), count, 0});
    list.bytes.insert(list.bytes.end(), entries.begin(), entries.end());
    return ERROR_SUCCESS;
}

std::string describeSid(const void* sid) {
    const std::u16string text = formatSid(sid);
    const auto found = std::find_if(kAliases.begin(), kAliases.end(),
                                    [&](const Alias& alias) { return alias.sid == text; });
    return toUtf8(found == kAliases.end() ? std::u16string_view(text) : found->text);
}

std::string describeMask(std::uint32_t mask) {
    std::string text;
    std::uint32_t rest = mask;
    for (const Name& right : kRights) {
        if ((mask & right.value) == right.value && (rest & right.value) != 0) {
            text += toUtf8(right.text);
            rest &= ~right.value;
        }
    }
    return rest == 0 ? text : text + "+" + std::to_string(rest);
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
    if (alias != kAliases.end()) {
        text = alias->sid;
    }
    if (text.size() < 4 || !sameText(text.substr(0, 4), u"S-1-")) {
        return std::nullopt;
    }
    text.remove_prefix(4);
    std::vector<std::uint64_t> numbers;
    for (bool more = true; more;) {
        const std::size_t end = std::min(text.find(u'-'), text.size());
        const auto limit = numbers.empty() ? 0xFFFFFFFFFFFFull : 0xFFFFFFFFull;
        const std::optional<std::uint64_t> number = parseNumber(text.substr(0, end), limit);
        if (!number) {
            return std::nullopt;
        }
        numbers.push_back(*number);
        more = end < text.size();
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    const std::size_t count = numbers.size() - 1;
    if (count == 0 || count > SID_MAX_SUB_AUTHORITIES) {
        return std::nullopt;
    }
    Bytes sid = {SID_REVISION, static_cast<std::uint8_t>(count)};
    for (int shift = 40; shift >= 0; shift -= 8) {
        sid.push_back(static_cast<std::uint8_t>(numbers[0] >> shift));
    }
    for (std::size_t i = 1; i <= count; ++i) {
        append(sid, static_cast<std::uint32_t>(numbers[i]));
    }
    return sid;
}

std::u16string formatSid(const void* sid) {
    const auto* const bytes = static_cast<const std::uint8_t*>(sid);
    std::uint64_t authority = 0;
    for (int i = 2; i < 8; ++i) {
        authority = authority << 8 | bytes[i];
    }
    std::string text = "S-1-";
    if (authority > 0xFFFFFFFF) {
        constexpr const char* kDigits = "0123456789abcdef";
        text += "0x";
        for (int shift = 44; shift >= 0; shift -= 4) {
            text += kDigits[authority >> shift & 15];
        }
    } else {
        text += std::to_string(authority);
    }
    for (int i = 0; i < bytes[1]; ++i) {
        std::uint32_t part;
        std::memcpy(&part, bytes + 8 + 4 * i, sizeof(part));
        text += '-' + std::to_string(part);
    }
    return {text.begin(), text.end()};
}

ParsedDescriptor parseDescriptor(std::u16string_view text) {
    Bytes owner;
    Bytes group;
    ParsedList dacl;
    ParsedList sacl;
    while (!text.empty()) {
        if (text.size() < 2 || text[1] != u':') {
            return {ERROR_INVALID_PARAMETER, {}};
        }
        const char16_t part = text[0];
        text.remove_prefix(2);
        DWORD status = ERROR_INVALID_PARAMETER;
        if (part == u'O' || part == u'G') {
            const std::optional<Bytes> sid = takeSid(text);
            status = sid ? ERROR_SUCCESS : ERROR_INVALID_SID;
            (part == u'O' ? owner : group) = sid.value_or(Bytes());
        } else if (part == u'D' || part == u'S') {
            status = takeList(text, part == u'D' ? dacl : sacl);
        }
        if (status != ERROR_SUCCESS) {
            return {status, {}};
        }
    }
    SECURITY_DESCRIPTOR_RELATIVE head = {};
    head.Revision = SECURITY_DESCRIPTOR_REVISION;
    head.Control =
        static_cast<WORD>(SE_SELF_RELATIVE | (dacl.present ? SE_DACL_PRESENT : 0) |
                          (sacl.present ? SE_SACL_PRESENT : 0) | dacl.control | sacl.control << 1);
    Bytes result(sizeof(head));
    const auto place = [&](const Bytes& bytes) {
        const auto offset = static_cast<DWORD>(result.size());
        result.insert(result.end(), bytes.begin(), bytes.end());
        return bytes.empty() ? 0 : offset;
    };
    head.Owner = place(owner);
    head.Group = place(group);
    head.Sacl = place(sacl.bytes);
    head.Dacl = place(dacl.bytes);
    std::memcpy(result.data(), &head, sizeof(head));
    return {ERROR_SUCCESS, result};
}

std::string describeDescriptor(std::span<const std::uint8_t> descriptor) {
    SECURITY_DESCRIPTOR_RELATIVE head = {};
    if (descriptor.size() < sizeof(head)) {
        return {};
    }
    std::memcpy(&head, descriptor.data(), sizeof(head));
    if ((head.Control & SE_DACL_PRESENT) == 0) {
        return {};
    }
    std::string text = "D:";
    text += (head.Control & SE_DACL_PROTECTED) != 0 ? "P" : "";
    text += (head.Control & SE_DACL_AUTO_INHERIT_REQ) != 0 ? "AR" : "";
    text += (head.Control & SE_DACL_AUTO_INHERITED) != 0 ? "AI" : "";
    if (head.Dacl == 0) {
        return text + "NO_ACCESS_CONTROL";
    }
    ACL list = {};
    std::memcpy(&list, descriptor.data() + head.Dacl, sizeof(list));
    const std::uint8_t* entry = descriptor.data() + head.Dacl + sizeof(list);
    for (WORD i = 0; i < list.AceCount; ++i) {
        ACCESS_ALLOWED_ACE ace = {};
        std::memcpy(&ace, entry, sizeof(ace));
        text += ace.Header.AceType == ACCESS_ALLOWED_ACE_TYPE ? "(A;" : "(D;";
        constexpr std::array<std::u16string_view, 5> kOrder = {u"OI", u"CI", u"NP", u"IO", u"ID"};
        for (const std::u16string_view flag : kOrder) {
            text +=
                (ace.Header.AceFlags & findName(kAceFlags, flag)->value) != 0 ? toUtf8(flag) : "";
        }
        text += ';' + describeMask(ace.Mask) + ";;;" +
                describeSid(entry + offsetof(ACCESS_ALLOWED_ACE, SidStart)) + ')';
        entry += ace.Header.AceSize;
    }
    return text;
}

}  // namespace simulated
