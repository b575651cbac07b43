// Product versions of both numbering schemes: legacy ("1.8.0_45-b13") and Zentra ("11.0.2+9").
#pragma once

#include <cstddef>
#include <cstdint>

#include "common/share/PmtError.h"
#include "common/share/Version.h"
#include "common/share/tstring.h"

namespace NorvVersionDetails {

/// The scheme of a version, which is its component 0.
inline constexpr std::int32_t kLegacyTag = 1;  ///< major, minor, update, build; also the 1 of "1.8"
inline constexpr std::int32_t kGraphicsTag =
    2;                                         ///< the three numbers of a graphics product: "2.2.0"
inline constexpr std::int32_t kZentraTag = 3;  ///< six dotted numbers, then the build

/// The value of a component that was left out; it is below any number. Parsing never yields it.
inline constexpr std::int32_t kLeftOut = -1;

/// Parses a version of any scheme; see VersionDetails::Parser for the contract.
struct Parser {
    static constexpr const char* kInitName =
        "VersionDetails::Base<8,struct NorvVersionDetails::Parser,1>::init";

    /// Throws std::length_error if `destination` has fewer than eight components.
    std::size_t operator()(const tstring& text, std::int32_t* destination,
                           std::size_t& count) const;

    /// Returns whether `count` components identify a version: one for Zentra, three for the other
    /// schemes.
    static bool isPrecise(const std::int32_t* components, std::size_t count);
};

/// A product's version. Every legacy version is less than every version of a graphics product,
/// which is less than every Zentra version; within a scheme the numbers decide.
class Base : public VersionDetails::Base<8, Parser, 1> {
public:
    Base() = default;
    /// Parses `text`; throws as `init` does.
    explicit Base(const tstring& text) { init(text); }

    /// Returns a version of which nothing is known: every component is left out.
    static Base unknown();

    std::int32_t tag() const { return (*this)[0]; }

    /// Leaves out this component and all after it.
    void leaveOutFrom(std::size_t index);

    /// Returns how many leading components are known, up to 8.
    std::size_t precision() const;

    /// Throws std::logic_error.
    [[noreturn]] static void throwUnrecognizedVersionType();
};

struct BaseLegacy {
    static constexpr std::int32_t kTag = kLegacyTag;
    static constexpr const char* kRefusal = " is not recognized as a legacy Norv version string";
    static constexpr const char* kConstructorName =
        "SpecializedVersion<struct NorvVersionDetails::BaseLegacy>::SpecializedVersion";
};

struct BaseZentra {
    static constexpr std::int32_t kTag = kZentraTag;
    static constexpr const char* kRefusal = " is not recognized as a Zentra Norv version string";
    static constexpr const char* kConstructorName =
        "SpecializedVersion<struct NorvVersionDetails::BaseZentra>::SpecializedVersion";
};

/// Returns the canonical form: without tags such as "-ea" and without trailing zeros. Throws
/// std::logic_error for a version without a scheme, such as an unknown one.
tstring toString(const Base& version);

/// Returns the string that the version was parsed from, as logs quote it.
const tstring& sourceText(const Base& version);

/// Returns the line of versions that share a registry key: the scheme and the first number after it
/// ("1.8", "11"). Throws std::logic_error for a graphics product's version.
Base family(const Base& version);

/// Returns the version with its build left out. Throws std::logic_error for a graphics product's
/// version.
Base withoutBuild(const Base& version);

[[noreturn]] void throwWrongScheme(const Base& version, const char* refusal,
                                   const SourceLocation& where);

}  // namespace NorvVersionDetails

/// A version that is known to be of one scheme.
template <class Scheme>
class SpecializedVersion : public NorvVersionDetails::Base {
public:
    /// Throws std::runtime_error if the version is of another scheme.
    explicit SpecializedVersion(const NorvVersionDetails::Base& version)
        : NorvVersionDetails::Base(version) {
        if (tag() != Scheme::kTag) {
            NorvVersionDetails::throwWrongScheme(version, Scheme::kRefusal,
                                                 Scheme::kConstructorName);
        }
    }
};
