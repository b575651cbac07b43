// Descriptions: what is refused, and what is written back.
#include "dryrun/Description.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

/// Reads a description onto a new machine. Throws BadInput.
std::unique_ptr<DescribedMachine> read(const std::string& text) {
    auto described = std::make_unique<DescribedMachine>();
    addDescription(*described, "x", parseDescription("x", text));
    return described;
}

std::string refusal(const std::string& text) {
    try {
        read(text);
        return "accepted";
    } catch (const BadInput& e) {
        return e.what();
    }
}

TEST(Description, AreWrittenBackAsTheyWereRead) {
    for (
        const char* text : {
            R"({})",
            R"({"files":{"C:\\a b\\":{},"C:\\x.txt":{"text":"é"}}})",
            R"({"files":{"C:\\x.cfg":{"text":{"hex":"fffe4100"}}}})",
            R"({"files":{"C:\\gone\\":{"link":"C:\\nowhere"},"C:\\u\\":{"link":"\\??\\UNC\\s\\d"}}})",
            R"({"files":{"\\\\server\\share\\home\\bin\\norv.exe":{"size":7}}})",
            R"({"registry":{"HKLM\\SOFTWARE\\Halvorex\\..":{"":"x","n":21}}})",
            R"({"registry":{"HKLM\\SOFTWARE\\Halvorex":{"e":{"expand":"%x%"},"h":{"hex":"0aff","type":3}}}})",
            R"({"files":{"C:\\Windows\\System32\\":null}})",
        }) {
        EXPECT_EQ(writeDescription(*read(text)), Json::parse(text)) << text;
    }
}

TEST(Description, AnEmptyKeyHasNoDefaultValues) {
    const std::string key =
        R"(HKLM\\SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Environment)";
    const auto described = read("{\"registry\":{\"" + key + "\":{}}}");
    EXPECT_EQ(
        described->machine.registry.getValue(
            simulated::View::Bits64,
            u"HKLM\\SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Environment", u"Path"),
        std::nullopt);
    EXPECT_EQ(writeDescription(*described), Json::parse("{\"registry\":{\"" + key + "\":{}}}"));
}

TEST(Description, MayHaveAByteOrderMark) {
    EXPECT_EQ(refusal("\xEF\xBB\xBF{}"), "accepted");
}

TEST(Description, MayBeUtf16) {
    using namespace std::string_literals;
    EXPECT_EQ(refusal("\xFF\xFE{\0}\0"s), "accepted");
    EXPECT_EQ(refusal("\xFE\xFF\0{\0}"s), "accepted");
}

struct Refused {
    const char* name;
    std::string text;
    const char* message;
};

TEST(Description, AreRefusedInOneLine) {
    const Refused rows[] = {
        {.name = "no JSON", .text = "{", .message = "x: expected JSON, found a parse error"},
        {.name = "a NUL after the JSON",
         .text = std::string("{}\0", 3),
         .message = "x: expected JSON, found a NUL"},
        {.name = "the same name in another case",
         .text = R"({"registry":{"HKLM\\a":{},"hklm\\A":{}}})",
         .message = "x: expected each name once in an object, in any case"},
        {.name = "an unknown name",
         .text = R"({"file":{}})",
         .message = "x: expected known names (files?), found \"file\""},
        {.name = "a path without a separator after the drive",
         .text = R"({"files":{"C:x":{}}})",
         .message = "x: files: expected a path, absolute"},
        {.name = "bits without a type",
         .text = R"({"products":[{"code":"{26A24AE4-039D-4CA4-87B4-2F64180451F0}","bits":64}]})",
         .message = "x: products[0]: expected \"type\" of \"QVR\" or \"QVK\""},
        {.name = "a 64-bit product on a 32-bit Windows",
         .text = R"({"windows":{"bits":32},"products":[{"type":"QVK","version":"21","bits":64}]})",
         .message = "x: products[0].bits: expected 32"},
        {.name = "null where nothing is removed",
         .text = R"({"files":{"C:\\x":{"text":null}}})",
         .message = "x: files.C:\\x.text: expected a content"},
    };
    for (const Refused& row : rows) {
        SCOPED_TRACE(row.name);
        const std::string message = refusal(row.text);
        EXPECT_EQ(message.substr(0, std::string(row.message).size()), row.message);
        EXPECT_EQ(message.find('\n'), message.npos);
    }
}

TEST(Description, PropertiesOfThePackageDistinguishCase) {
    const std::string product =
        R"({"products":[{"code":"{26A24AE4-039D-4CA4-87B4-2F64180451F0}","package":)";
    EXPECT_EQ(refusal(product + R"({"properties":{"Home":"a","HOME":"b"}}}]})"), "accepted");
    EXPECT_EQ(refusal(product + R"({"properties":{"Home":"a","Home":"b"}}}]})").substr(0, 40),
              "x: expected each name once in an object,");
}

TEST(Description, KeysHaveAtMost512Levels) {
    std::string key = "HKLM";
    for (int level = 1; level < 512; ++level) {
        key += "\\\\k";
    }
    EXPECT_EQ(refusal("{\"registry\":{\"" + key + "\":{}}}"), "accepted");
    EXPECT_TRUE(refusal("{\"registry\":{\"" + key + "\\\\k\":{}}}")
                    .starts_with("x: registry: expected a key below HKLM, HKCU or HKU"));
}

TEST(DescriptionOfUsualProducts, HaveTheBitsOfWindows) {
    const auto described =
        read(R"({"windows":{"bits":32},"products":[{"type":"QVR","version":"1.8.0_451-b10"}]})");
    EXPECT_NE(described->machine.installer.product(u"{26A24AE4-039D-4CA4-87B4-2F32180451F0}"),
              nullptr);
}

}  // namespace
