#include "simulated/machine/process/SystemTexts.h"

#include <string_view>
#include <utility>

namespace simulated {

namespace {

constexpr std::pair<std::uint32_t, std::u16string_view> kSystemTexts[] = {
    {0, u"Success."},
    {1, u"Incorrect function."},
    {2, u"The file cannot be found."},
    {3, u"The path cannot be found."},
    {5, u"Access is denied."},
    {6, u"The handle is invalid."},
    {8, u"There is not enough memory."},
    {13, u"The data is invalid."},
    {15, u"The drive cannot be found."},
    {17, u"The file cannot be moved to another disk drive."},
    {18, u"There are no more files."},
    {19, u"The media is write-protected."},
    {24, u"The length of the command is incorrect."},
    {29, u"Writing to the device has failed."},
    {30, u"Reading from the device has failed."},
    {32, u"Another process is using the file."},
    {50, u"The request is not supported."},
    {53, u"The network path was not found."},
    {80, u"The file exists."},
    {87, u"The parameter is incorrect."},
    {110, u"The device or file cannot be opened."},
    {112, u"There is not enough space on the disk."},
    {120, u"This system does not support the function."},
    {122, u"The data area passed to a system call is too small."},
    {123, u"The name or the syntax of a volume label is incorrect."},
    {126, u"The module could not be found."},
    {127, u"The procedure could not be found."},
    {131, u"The file pointer was set before the beginning of the file."},
    {145, u"The directory is not empty."},
    {161, u"The path is invalid."},
    {183, u"The file exists already."},
    {203, u"The environment option could not be found."},
    {206, u"The file name or its extension is too long."},
    {234, u"There is more data."},
    {259, u"There is no more data."},
    {267, u"The name of the directory is invalid."},
    {317, u"There is no message text for the number."},
    {487, u"The address is invalid."},
    {1011, u"The configuration registry key could not be opened."},
    {1018, u"The registry key has been marked for deletion."},
    {1113, u"The character does not exist in the target code page."},
    {1305, u"The revision level is unknown."},
    {1337, u"The structure of the security identifier is invalid."},
    {1400, u"The window handle is invalid."},
    {1460, u"The time for the operation has run out."},
    {1603, u"A fatal error has occurred during the installation."},
    {1605, u"This action is valid only for installed products."},
    {1610, u"The configuration data of the product is damaged."},
    {1615, u"The syntax of the SQL query is invalid."},
    {1616, u"The record has no such field."},
    {1627, u"The function has failed during its execution."},
    {1812, u"The image file has no resource section."},
    {1813, u"The image file has no resource of the type."},
    {1814, u"The image file has no resource of the name."},
    {1920, u"The system cannot access the file."},
    {1921, u"The system cannot resolve the file name."},
    {4390, u"The file or directory is no reparse point."},
    {4392, u"The data of the reparse point is invalid."},
    {4394, u"The tags of the reparse point and of the request differ."},
    {0x80004002, u"The object has no such interface."},
    {0x80004005, u"Unspecified error."},
    {0x800401F0, u"CoInitialize has not been called."},
    {0x80040154, u"The class is not registered."},
};

}  // namespace

std::map<std::uint32_t, std::u16string> systemTexts() {
    std::map<std::uint32_t, std::u16string> texts;
    for (const auto& [status, text] : kSystemTexts) {
        texts.emplace(status, text).first->second += u"\r\n";
    }
    return texts;
}

std::map<std::uint32_t, std::u16string> installerTexts() {
    return {
        {5, u"The installer was refused access."},
        {6, u"The handle given to the installer is not valid."},
        {1601, u"The service of the installer could not be reached."},
        {1602, u"The user ended the installation."},
        {1603, u"The installation ended with a fatal error."},
        {1605, u"The product is not installed."},
        {1608, u"The property is unknown."},
        {1610, u"The configuration data of the product is damaged."},
        {1615, u"The text of the query is invalid."},
        {1619, u"The installation package could not be opened."},
        {1627, u"A function of the installer failed."},
        {1628, u"The table is invalid or unknown."},
        {3010, u"The changes take effect at the next restart."},
    };
}

}  // namespace simulated
