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

constexpr Alias kAliases[] = {
    {u"WD", u"S-1-1-0"},      {u"CO", u"S-1-3-0"},      {u"CG", u"S-1-3-1"},
    {u"OW", u"S-1-3-4"},      {u"NU", u"S-1-5-2"},      {u"IU", u"S-1-5-4"},
    {u"SU", u"S-1-5-6"},      {u"AN", u"S-1-5-7"},      {u"ED", u"S-1-5-9"},
    {u"PS", u"S-1-5-10"},     {u"AU", u"S-1-5-11"},     {u"RC", u"S-1-5-12"},
    {u"SY", u"S-1-5-18"},     {u"LS", u"S-1-5-19"},     {u"NS", u"S-1-5-20"},
    {u"BA", u"S-1-5-32-544"}, {u"BU", u"S-1-5-32-545"}, {u"BG", u"S-1-5-32-546"},
    {u"PU", u"S-1-5-32-547"}, {u"AO", u"S-1-5-32-548"}, {u"SO", u"S-1-5-32-549"},
    {u"PO", u"S-1-5-32-550"}, {u"BO", u"S-1-5-32-551"}, {u"RE", u"S-1-5-32-552"},
    {u"RU", u"S-1-5-32-554"}, {u"RD", u"S-1-5-32-555"}, {u"NO", u"S-1-5-32-556"}};

/// Aliases that Windows replaces by an identifier of the machine, of its domain or of a later
/// Windows.
constexpr std::u16string_view kUnsupportedAliases[] = {
    u"AA", u"AC", u"AP", u"AS", u"CA", u"CD", u"CN", u"CY", u"DA", u"DC",
    u"DD", u"DG", u"DU", u"EA", u"EK", u"ER", u"ES", u"HA", u"HI", u"HO",
    u"IS", u"KA", u"LA", u"LG", u"LU", u"LW", u"ME", u"MP", u"MS", u"MU",
    u"PA", u"RA", u"RM", u"RO", u"RS", u"SA", u"SI", u"SS", u"UD", u"WR"};

// In the order in which a description names them; the first right that fits a mask is named first.
constexpr std::array<Name, 3> kAceFlags = {
    {{"OI", OBJECT_INHERIT_ACE}, {"CI", CONTAINER_INHERIT_ACE}, {"ID", INHERITED_ACE}}};
constexpr std::array<Name, 3> kRights = {{{"FA", 0x1F01FF}, {"FR", 0x120089}, {"FX", 0x1200A0}}};

constexpr std::uint64_t kMaxNumber = 0xFFFFFFFF;
constexpr const char* kParser = "ConvertStringSecurityDescriptorToSecurityDescriptorW";

template <class T>
void append(Bytes& bytes, const T& value) {
    const auto* const first = reinterpret_cast<const std::uint8_t*>(&value);
    std::copy_n(first, sizeof(value), std::back_inserter(bytes));
}

/// Removes the text up to a separator, and the separator; returns the text.
std::string takeUpTo(std::string& text, char separator) {
    const std::size_t end = std::min(text.find(separator), text.size());
    const std::string piece = text.substr(0, end);
    text.erase(0, end + 1);
    return piece;
}

/// Returns the bits that pairs of letters name.
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

/// Appends an entry, given without its parentheses: "A;OICI;FA;;;SY".
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

/// Returns the upper-case "S-1-..." text that an alias stands for; any other text as it is.
std::string withoutAlias(std::u16string_view text) {
    const std::u16string upper = upperCase(text);
    if (std::ranges::find(kUnsupportedAliases, upper) != std::end(kUnsupportedAliases)) {
        notSupported("ConvertStringSidToSidW", "the alias " + toUtf8(upper));
    }
    const auto alias = std::ranges::find(kAliases, upper, &Alias::text);
    return toUtf8(alias == std::end(kAliases) ? std::u16string_view(upper) : alias->sid);
}

/// Ends the program for an authority that Windows writes in hexadecimal.
void demandSupported(std::uint64_t authority) {
    if (authority > kMaxNumber) {
        notSupported("ConvertSidToStringSidW", "an authority of more than 32 bits");
    }
}

/// Reads a decimal number, or a hexadecimal one after "0X".
std::optional<std::uint64_t> parseNumber(std::string_view text) {
    const int base = text.starts_with("0X") ? 16 : 10;
    text.remove_prefix(base == 16 ? 2 : 0);
    std::uint64_t number = 0;
    const auto read = std::from_chars(text.data(), text.data() + text.size(), number, base);
    const bool isWhole = read.ec == std::errc() && read.ptr == text.data() + text.size();
    return isWhole ? std::optional(number) : std::nullopt;
}

std::string describeSid(const void* sid) {
    const std::u16string text = formatSid(sid);
    const auto found = std::ranges::find(kAliases, text, &Alias::sid);
    return toUtf8(found == std::end(kAliases) ? std::u16string_view(text) : found->text);
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
    std::string rest = withoutAlias(text);
    if (rest.empty() || rest.ends_with('-') || takeUpTo(rest, '-') != "S") {
        return std::nullopt;
    }
    std::vector<std::uint64_t> numbers;
    while (!rest.empty()) {
        const std::optional<std::uint64_t> number = parseNumber(takeUpTo(rest, '-'));
        if (!number) {
            return std::nullopt;
        }
        numbers.push_back(*number);
    }
    const std::size_t parts = numbers.size();
    if (parts < 3 || parts > 2 + SID_MAX_SUB_AUTHORITIES || numbers[0] != SID_REVISION ||
        *std::max_element(numbers.begin() + 2, numbers.end()) > kMaxNumber) {
        return std::nullopt;
    }
    demandSupported(numbers[1]);
    Bytes sid = {SID_REVISION, static_cast<std::uint8_t>(parts - 2)};
    for (int shift = 40; shift >= 0; shift -= 8) {
        sid.push_back(static_cast<std::uint8_t>(numbers[1] >> shift));
    }
    for (std::size_t i = 2; i < parts; ++i) {
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
    demandSupported(authority);
    std::string text = "S-1-" + std::to_string(authority);
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
