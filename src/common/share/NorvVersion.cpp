#include "common/share/NorvVersion.h"

#include <algorithm>
#include <stdexcept>
#include <string_view>

#include "common/share/Text.h"

namespace NorvVersionDetails {

namespace {

using View = std::basic_string_view<TCHAR>;

constexpr std::size_t kCapacity = 8;
constexpr std::size_t kHeadCapacity = 3;
constexpr std::int32_t kLeastZentraNumber = 9;

/// Returns the part before the first of the delimiters, or everything.
View tokenOf(View text, const TCHAR* delimiters) {
    return text.substr(0, text.find_first_of(delimiters));
}

/// Whether the text starts with "-b<number>", which ends at the next "-". A build of 0 counts as
/// none.
bool startsWithBuild(View rest, View& token, std::int32_t& build) {
    if (rest.size() < 3 || rest[0] != _T('-') || rest[1] != _T('b')) {
        return false;
    }
    token = tokenOf(rest.substr(2), _T("-"));
    return VersionDetails::tryParseComponent(token, build) && build != 0;
}

// The steps that parse what follows the leading dotted numbers. Each takes the rest of the text,
// stores the number that it finds in `target` and returns how many characters remain.

std::size_t readLegacyMinor(View rest, std::int32_t& target) {
    const View token = tokenOf(rest, _T("_-"));
    return VersionDetails::tryParseComponent(token, target) ? rest.size() - token.size()
                                                            : rest.size();
}

std::size_t readLegacyUpdate(View rest, std::int32_t& target) {
    if (!rest.starts_with(_T('_'))) {
        return rest.size();
    }
    const View token = tokenOf(rest.substr(1), _T("-"));
    return VersionDetails::tryParseComponent(token, target) ? rest.size() - 1 - token.size()
                                                            : rest.size();
}

/// Skips tags such as "-ea" before the build, or the whole rest when there is no build.
std::size_t skipLegacyTags(View rest, std::int32_t&) {
    if (!rest.starts_with(_T('-'))) {
        return rest.size();
    }
    for (std::size_t dash = 0; dash != View::npos; dash = rest.find(_T('-'), dash + 1)) {
        View token;
        std::int32_t build = 0;
        if (startsWithBuild(rest.substr(dash), token, build)) {
            // A lone "-" is not followed by a tag.
            return dash == 1 ? rest.size() : rest.size() - dash;
        }
    }
    return 0;
}

std::size_t readLegacyBuild(View rest, std::int32_t& target) {
    View token;
    std::int32_t build = 0;
    if (!startsWithBuild(rest, token, build)) {
        return rest.size();
    }
    target = build;
    return rest.size() - 2 - token.size();
}

std::size_t readDotted(View rest, std::int32_t& target, const TCHAR* delimiters) {
    if (rest.size() >= 2 && rest[0] == _T('.')) {
        rest.remove_prefix(1);
    }
    const View token = tokenOf(rest, delimiters);
    return VersionDetails::tryParseComponent(token, target) ? rest.size() - token.size()
                                                            : rest.size();
}

std::size_t readInnerDotted(View rest, std::int32_t& target) {
    return readDotted(rest, target, _T(".-+"));
}

std::size_t readLastDotted(View rest, std::int32_t& target) {
    return readDotted(rest, target, _T("-+"));
}

std::size_t skipPreRelease(View rest, std::int32_t&) {
    if (rest.size() < 2 || rest[0] != _T('-')) {
        return rest.size();
    }
    const std::size_t end = rest.find_first_of(_T("+-"), 1);
    return end == View::npos || end == 1 ? rest.size() : rest.size() - end;
}

std::size_t readZentraBuild(View rest, std::int32_t& target) {
    if (rest.size() < 2 || rest[0] != _T('+')) {
        return rest.size();
    }
    rest.remove_prefix(1);
    const View token = tokenOf(rest, _T("-"));
    return VersionDetails::tryParseComponent(token, target) ? rest.size() - token.size()
                                                            : rest.size();
}

std::size_t skipOptionalTail(View rest, std::int32_t&) {
    return rest.size() >= 2 && rest[0] == _T('-') ? 0 : rest.size();
}

constexpr std::size_t kNoTarget = kCapacity;

struct SuffixStep {
    std::size_t (*run)(View rest, std::int32_t& target);
    std::size_t target;     ///< the component, or kNoTarget
    std::size_t mostHeads;  ///< the step is skipped when the head has more numbers than this
    bool stopsWhenNothing;  ///< the following steps depend on what this one reads
};

constexpr SuffixStep kLegacySteps[] = {
    {readLegacyMinor, 2, kHeadCapacity, true},
    {readLegacyUpdate, 3, kHeadCapacity, false},
    {skipLegacyTags, kNoTarget, kHeadCapacity, false},
    {readLegacyBuild, 4, kHeadCapacity, false},
};

constexpr SuffixStep kZentraSteps[] = {
    {readInnerDotted, 2, 1, false},
    {readInnerDotted, 3, 2, false},
    {readInnerDotted, 4, kHeadCapacity, false},
    {readInnerDotted, 5, kHeadCapacity, false},
    {readLastDotted, 6, kHeadCapacity, false},
    {skipPreRelease, kNoTarget, kHeadCapacity, false},
    {readZentraBuild, 7, kHeadCapacity, false},
    {skipOptionalTail, kNoTarget, kHeadCapacity, false},
};

template <std::size_t N>
std::size_t runSteps(const SuffixStep (&steps)[N], std::size_t heads, View text, std::size_t left,
                     std::int32_t* destination, std::size_t& count) {
    for (const SuffixStep& step : steps) {
        if (left == 0) {
            break;
        }
        if (heads > step.mostHeads) {
            continue;
        }
        std::int32_t ignored = 0;
        std::int32_t& target = step.target == kNoTarget ? ignored : destination[step.target];
        const std::size_t stillLeft = step.run(text.substr(text.size() - left), target);
        if (stillLeft > left) {
            raise<std::runtime_error>(
                "NorvVersionDetails::`anonymous-namespace'::parse",
                Text() << _T("[") << left << _T(" < ") << stillLeft << _T("] failed"));
        }
        if (stillLeft < left) {
            left = stillLeft;
            ++count;
        } else if (step.stopsWhenNothing) {
            break;
        }
    }
    return left;
}

/// The dotted numbers at the start of the text.
struct Head {
    std::int32_t numbers[kHeadCapacity] = {};
    std::size_t count = kHeadCapacity;
    std::size_t left = 0;  ///< characters after them
};

Head readHead(const tstring& text) {
    Head head;
    head.left = VersionDetails::Parser()(text, head.numbers, head.count);
    if (head.count == 0) {
        // A single number with a suffix, such as "11-ea+22", is not a dotted number.
        const View token = tokenOf(text, _T("-+"));
        if (VersionDetails::tryParseComponent(token, head.numbers[0]) &&
            head.numbers[0] >= kLeastZentraNumber) {
            head.count = 1;
            head.left = text.size() - token.size();
        }
    }
    return head;
}

std::size_t parse(const tstring& text, std::int32_t* destination, std::size_t& count) {
    if (count < kCapacity) {
        raise<std::length_error>("NorvVersionDetails::`anonymous-namespace'::parse",
                                 "Insufficient size of destination buffer");
    }
    const Head head = readHead(text);
    count = 0;
    if (head.count == 0) {
        return text.size();
    }
    const std::int32_t first = head.numbers[0];
    const bool isZentra = first >= kLeastZentraNumber;
    if (first != kLegacyTag && first != kGraphicsTag && !isZentra) {
        return text.size();
    }
    if (first == kLegacyTag && head.count > 1 && head.numbers[1] <= 0) {
        destination[0] = first;
        count = 1;
        return VersionDetails::Parser()(text, destination, count);
    }
    if (isZentra) {
        destination[0] = kZentraTag;
    }
    std::copy_n(head.numbers, head.count, destination + (isZentra ? 1 : 0));
    count = head.count;
    const bool endsHere =
        first == kGraphicsTag || (first == kLegacyTag && head.count == 1) || head.left == 0;
    if (endsHere) {
        return head.left;
    }
    return isZentra ? runSteps(kZentraSteps, head.count, text, head.left, destination, count)
                    : runSteps(kLegacySteps, head.count, text, head.left, destination, count);
}

/// Formats a number with at least two digits.
Text twoDigits(std::int32_t number) {
    Text result;
    if (number < 10) {
        result << _T('0');
    }
    result << number;
    return result;
}

tstring legacyToString(const Base& version) {
    Text text;
    text << version[0];
    for (std::size_t i = 1; i <= 2; ++i) {
        if (version[i] >= 0) {
            text << _T('.') << version[i];
        }
    }
    if (version[3] > 0) {
        text << _T('_') << twoDigits(version[3]);
    }
    if (version[4] > 0) {
        text << _T("-b") << twoDigits(version[4]);
    }
    return text;
}

tstring zentraToString(const Base& version) {
    std::size_t last = 6;
    while (last > 1 && version[last] <= 0) {
        --last;
    }
    Text text;
    text << version[1];
    for (std::size_t i = 2; i <= last; ++i) {
        text << _T('.') << version[i];
    }
    if (version[7] > 0) {
        text << _T('+') << version[7];
    }
    return text;
}

/// Returns the version itself if its scheme has families.
const Base& withFamily(const Base& version) {
    if (version.tag() != kLegacyTag && version.tag() != kZentraTag) {
        Base::throwUnrecognizedVersionType();
    }
    return version;
}

}  // namespace

std::size_t Parser::operator()(const tstring& text, std::int32_t* destination,
                               std::size_t& count) const {
    return parse(text, destination, count);
}

bool Parser::isPrecise(const std::int32_t* components, std::size_t count) {
    return components[0] == kZentraTag || count >= 3;
}

Base Base::unknown() {
    Base version;
    version.leaveOutFrom(0);
    return version;
}

void Base::leaveOutFrom(std::size_t index) {
    for (; index < kComponents; ++index) {
        (*this)[index] = kLeftOut;
    }
}

std::size_t Base::precision() const {
    std::size_t known = 0;
    while (known < kComponents && (*this)[known] != kLeftOut) {
        ++known;
    }
    return known;
}

void Base::throwUnrecognizedVersionType() {
    raise<std::logic_error>("NorvVersionDetails::Base::throwUnrecognizedVersionType",
                            "unknown version tag");
}

tstring toString(const Base& version) {
    switch (version.tag()) {
        case kLegacyTag:
            return legacyToString(version);
        case kGraphicsTag:
            return Text() << version[0] << _T('.') << version[1] << _T('.') << version[2];
        case kZentraTag:
            return zentraToString(version);
        default:
            Base::throwUnrecognizedVersionType();
    }
}

const tstring& sourceText(const Base& version) {
    return version.sourceText();
}

Base family(const Base& version) {
    Base result = withFamily(version);
    result.leaveOutFrom(2);
    return result;
}

Base withoutBuild(const Base& version) {
    Base result = withFamily(version);
    result.leaveOutFrom(result.tag() == kLegacyTag ? 4 : 7);
    return result;
}

void throwWrongScheme(const Base& version, const char* refusal, const SourceLocation& where) {
    raise<std::runtime_error>(where, Text() << version.sourceText() << refusal);
}

}  // namespace NorvVersionDetails
