#include "settings/share/FileName.h"

#include "settings/share/SettingsException.h"
#include "support/OnMachine.h"

namespace {

using settings_impl::FileName;

class FileNameTest : public OnMachine {
protected:
    FileNameTest() {
        machine.volumes.addDirectory(u"C:\\Work\\Deep");
        machine.volumes.setCurrentDirectory(u"C:\\Work\\Deep");
    }

    /// Returns the canonical path as a load uses it. Throws settings::Exception.
    static std::string canonical(const std::string& path) {
        return settings_impl::canonicalize(FileName(settings_impl::checkPath(path))).text();
    }

    /// Returns the status with which a path is refused; 0 if it is accepted.
    static settings::Status refusal(const std::string& path) {
        try {
            canonical(path);
            return settings::kSuccess;
        } catch (const settings::Exception& e) {
            return e.code();
        }
    }
};

TEST_F(FileNameTest, CanonicalPathsStayAsTheyAre) {
    for (const std::string& path :
         {std::string("a:/x"), std::string("z:/x"), std::string("A:/x"), std::string("Z:"),
          std::string("C:/a\x7F"), "C:/" + std::string(256, 'x')}) {
        EXPECT_EQ(canonical(path), path);
    }
}

TEST_F(FileNameTest, NamesThatOnlyResembleDevicesAreAccepted) {
    for (const std::string path : {"C:/com1/x", "C:/COM1.txt", "C:/COM10"}) {
        EXPECT_EQ(canonical(path), path);
    }
}

TEST_F(FileNameTest, SeparatorsAndDotsAreResolved) {
    EXPECT_EQ(canonical("C:/a/./b/../c.cfg"), "C:/a/c.cfg");
    EXPECT_EQ(canonical("C:\\\\a//c.cfg\\"), "C:/a/c.cfg");
    EXPECT_EQ(canonical("C:/../x"), "x") << "a path above its root loses the drive";
}

TEST_F(FileNameTest, RelativePathsStartAtTheCurrentDirectory) {
    EXPECT_EQ(canonical("server/x"), "C:/Work/Deep/server/x");
    EXPECT_EQ(canonical("\\\\server\\x"), "C:/Work/Deep/server/x");
    EXPECT_EQ(canonical("../Deep"), "C:/Work/Deep");
    EXPECT_EQ(canonical("///"), "C:/Work/Deep");
}

TEST_F(FileNameTest, PathsThatNameNoFileAreRefused) {
    for (const char* path :
         {"", "C:/..", "../../../../x", "1:/x", "a/C:/x", "@:/x", "[:/x", "`:/x", "{:/x"}) {
        EXPECT_EQ(refusal(path), settings::kPathRefused) << path;
    }
}

TEST_F(FileNameTest, DeviceNamesAreRefused) {
    for (const char* path : {"C:/COM1/x", "NUL", "C:/LPT9"}) {
        EXPECT_EQ(refusal(path), settings::kPathRefused) << path;
    }
}

TEST_F(FileNameTest, IllegalCharactersAreRefused) {
    for (const char character : {'\x1F', '"', '<', '>', '|', '?', '*', ':'}) {
        EXPECT_EQ(refusal(std::string("C:/a") + character + "b"), settings::kPathRefused)
            << character;
    }
}

TEST_F(FileNameTest, PathsOf260BytesAreTooLong) {
    EXPECT_EQ(refusal("C:/" + std::string(257, 'x')), settings::kPathTooLong);
    EXPECT_EQ(refusal(std::string(250, 'x')), settings::kPathTooLong) << "counted when absolute";
}

TEST_F(FileNameTest, PathsHaveToBeUtf8) {
    EXPECT_EQ(refusal("C:/x\xFF"), settings::kPathNotUtf8);
    EXPECT_EQ(refusal("C:/x\xC3"), settings::kPathNotUtf8);
    EXPECT_EQ(refusal("\xE3_x"), settings::kFailure)
        << "only the lead bytes are checked: Windows can't convert this one";
}

}  // namespace
