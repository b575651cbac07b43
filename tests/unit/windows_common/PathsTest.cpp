#include "windows/common/Paths.h"

#include <gtest/gtest.h>

#include "common/share/Text.h"

namespace {

using namespace FileUtils;

TEST(Paths, AreTakenApart) {
    const struct {
        const TCHAR* path;
        const TCHAR* dirname;
        const TCHAR* basename;
        const TCHAR* suffix;
    } rows[] = {
        {_T(""), _T(""), _T(""), _T("")},
        {_T("b"), _T(""), _T("b"), _T("")},
        {_T("\\b"), _T(""), _T("b"), _T("")},
        {_T("\\/"), _T(""), _T(""), _T("")},
        {_T("a\\\\b"), _T("a"), _T("b"), _T("")},
        {_T("a/\\b/c.d"), _T("a/\\b"), _T("c.d"), _T(".d")},
        {_T("a\\"), _T("a"), _T(""), _T("")},
        {_T("a\\b\\\\"), _T("a\\b"), _T(""), _T("")},
        {_T("C:\\x"), _T("C:"), _T("x"), _T("")},
        {_T("a.b\\c"), _T("a.b"), _T("c"), _T("")},
        {_T("a.b/"), _T("a.b"), _T(""), _T("")},
        {_T(".x"), _T(""), _T(".x"), _T(".x")},
        {_T("."), _T(""), _T("."), _T(".")},
        {_T("x\\."), _T("x"), _T("."), _T(".")},
        {_T(".."), _T(""), _T(".."), _T("")},
        {_T("d\\.."), _T("d"), _T(".."), _T("")},
        {_T("d/.."), _T("d"), _T(".."), _T("")},
        {_T("x.."), _T(""), _T("x.."), _T(".")},
        {_T("a.tar.gz"), _T(""), _T("a.tar.gz"), _T(".gz")},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE((Text() << row.path).utf8());
        EXPECT_EQ(dirname(row.path), row.dirname);
        EXPECT_EQ(basename(row.path), row.basename);
        EXPECT_EQ(suffix(row.path), row.suffix);
        EXPECT_EQ(replaceSuffix(row.path, row.suffix), row.path);
    }
    EXPECT_EQ(replaceSuffix(_T("d.e\\a.tar.gz"), _T(".exe")), _T("d.e\\a.tar.exe"));
    EXPECT_EQ(replaceSuffix(_T("d.e\\a"), _T("-1")), _T("d.e\\a-1"));
}

TEST(Paths, AreJoined) {
    const struct {
        const TCHAR* a;
        const TCHAR* b;
        const TCHAR* joined;
    } rows[] = {
        {_T(""), _T(""), _T("")},
        {_T(""), _T("\\x"), _T("\\x")},
        {_T("a\\\\"), _T(""), _T("a\\\\")},
        {_T("a"), _T("b"), _T("a\\b")},
        {_T("a\\"), _T("\\b"), _T("a\\b")},
        {_T("a/\\/"), _T("b"), _T("a\\b")},
        {_T("a"), _T("\\\\b/"), _T("a\\\\b/")},
        {_T("\\"), _T("b"), _T("\\b")},
        {_T("C:\\"), _T("*"), _T("C:\\*")},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(combinePath(row.a, row.b), row.joined);
    }
}

}  // namespace
