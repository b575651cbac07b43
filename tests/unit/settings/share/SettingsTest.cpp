// The public API as a boundary: no exception leaves an entry, and null is refused.
#include "settings/share/settings.h"

#include <gtest/gtest.h>

#include <cstddef>

#include "support/Settings.h"

namespace {

TEST(Settings, AnExceptionOfACallbackIsAFailure) {
    const Context context("a=1");
    int userData = 0;
    const auto callback = [](settings_context*, std::uint32_t, std::uint32_t, const char*, void*) {
        throw 7;
    };
    EXPECT_EQ(api.forEachKey(context.get(), callback, &userData), settings::kFailure);
}

TEST(Settings, NullIsRefused) {
    std::int32_t number = 0;
    EXPECT_EQ(api.getInt(nullptr, "a", &number), settings::kNullArgument);
}

TEST(Settings, EntriesHaveTheirFixedPlaces) {
    constexpr std::size_t kEntry = sizeof(void (*)());
    static_assert(offsetof(settings_api, removeKey) == 15 * kEntry);
    static_assert(offsetof(settings_api, addKeyMapping) == 31 * kEntry);
}

}  // namespace
