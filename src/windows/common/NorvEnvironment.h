// Detects the products that are installed on the machine.
#pragma once

#include <cstdint>
#include <vector>

#include "windows/common/InstalledNorv.h"
#include "windows/common/InstalledNorvSelection.h"

namespace NorvEnvironment {

/// What `detect` looks for: at least one type and one architecture.
inline constexpr std::uint32_t kDetectQvr = 0x01;
inline constexpr std::uint32_t kDetectQvk = 0x02;
inline constexpr std::uint32_t kDetectNorvGfx = 0x04;
inline constexpr std::uint32_t kDetect32Bit = 0x10;
inline constexpr std::uint32_t kDetect64Bit = 0x20;

/// Returns the installed products selected by the mask, in the order in which the installer lists
/// them. A product that can't be read is logged and left out. Throws if the installer's list itself
/// can't be read.
std::vector<InstalledNorv> detect(std::uint32_t mask);

/// Returns the first product with that code; throws std::runtime_error if there is none.
const InstalledNorv& getByProductCode(InstalledNorvRange products, const Guid& productCode);

/// Checks a list of products. Each field enables its check.
class InstalledNorvsVerifier {
public:
    /// Throws std::invalid_argument at the first check that fails.
    void operator()(InstalledNorvRange products) const;

    bool checkProductCodes = true;
    bool checkDuplicates = true;
    bool checkHomeDirs = true;
    std::vector<std::int32_t> allowedTypes;  ///< empty allows all
    std::vector<std::uint32_t> allowedBits;  ///< empty allows all
};

}  // namespace NorvEnvironment
