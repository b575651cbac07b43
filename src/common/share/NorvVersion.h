// Versions of products, of both numbering schemes: legacy ("1.8.0_45-b13") and Zentra ("11.0.2+9").
#pragma once

#include <cstddef>
#include <cstdint>

#include "common/share/PmtError.h"
#include "common/share/Version.h"
#include "common/share/tstring.h"

namespace NorvVersionDetails {

/// The scheme of a version, its component 0.
inline constexpr std::int32_t kLegacyTag = 1;  ///< major, minor, update, build; also the 1 of "1.8"
inline constexpr std::int32_t kGraphicsTag =
    2;                                         ///< the three numbers of a graphics product: "2.2.0"
inline constexpr std::int32_t kZentraTag = 3;  ///< six dotted numbers, then the build

/// A component that was left out, below any number. No text gives it.
inline constexpr std::int32_t kLeftOut = -1;

/// Reads a version of any scheme; the contract is that of VersionDetails::Parser.
struct Parser {
    static constexpr const char* kInitName =
        "VersionDetails::Base<8,struct NorvVersionDetails::Parser,1>::init";

    /// Throws std::length_error with room for fewer than eight components.
    std::size_t operator()(const tstring& text, std::int32_t* destination,
                           std::size_t& count) const;

    /// A Zentra version may be one number, the others are of three at least.
    static bool isPrecise(const std::int32_t* components, std::size_t count);
};

/// A product's version. Every legacy version is below every version of a graphics product, and
/// those are below every Zentra version; within a scheme the numbers decide.
class Base : public VersionDetails::Base<8, Parser, 1> {
public:
    Base() = default;
    /// The version that `text` spells; throws as `init` does.
    explicit Base(const tstring& text) { init(text); }

    /// A version of which nothing is known: every component left out.
    static Base unknown();

    std::int32_t tag() const { return (*this)[0]; }

    /// Leaves out this component and all behind it.
    void leaveOutFrom(std::size_t index);

    /// How many leading components are known, up to 8.
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

/// The canonical text: without tags such as "-ea", without zeros at the end. Throws
/// std::logic_error for a version of no scheme, such as an unknown one.
tstring toString(const Base& version);

/// The text that the version was made of; what logs quote.
const tstring& sourceText(const Base& version);

/// The line of versions that share their place in the registry: the scheme and the first number
/// behind it ("1.8", "11"). Throws std::logic_error for a graphics product's version.
Base family(const Base& version);

/// The version with its build left out. Throws std::logic_error for a graphics product's version.
Base withoutBuild(const Base& version);

[[noreturn]] void throwWrongScheme(const Base& version, const char* refusal,
                                   const SourceLocation& where);

}  // namespace NorvVersionDetails

/// A version known to be of one scheme.
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
