// The statuses of the settings library, and the exception that carries one.
#pragma once

#include <cstdint>
#include <stdexcept>

namespace settings {

using Status = std::uint32_t;

constexpr Status kSuccess = 0;
constexpr Status kFailure = 200;  ///< any failure without a status of its own
constexpr Status kNullArgument = 300;
constexpr Status kNoFittingValue = 301;  ///< no value, or its type doesn't match the read
constexpr Status kBadValue = 302;  ///< not valid UTF-8, or can't be converted to the requested type
constexpr Status kNoSuchKey = 303;
constexpr Status kCannotOpen = 304;  ///< a file can't be opened or created
constexpr Status kShortWrite = 306;
constexpr Status kReadError = 307;
constexpr Status kPathTooLong = 310;  ///< 260 bytes or more
constexpr Status kPathRefused = 311;
constexpr Status kPathNotUtf8 = 312;
constexpr Status kBadLines = 313;
constexpr Status kTextNotUtf8 = 314;
constexpr Status kFileTooLong = 315;  ///< 1,048,576 bytes or more

/// Any failure of the library. Its message is empty: only the status matters.
class Exception : public std::runtime_error {
public:
    explicit Exception(Status code) : std::runtime_error(""), code_(code) {}

    Status code() const noexcept { return code_; }

private:
    Status code_;
};

}  // namespace settings
