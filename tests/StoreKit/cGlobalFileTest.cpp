#include "StoreKit/cGlobalFile.h"

#include "tests/support/cConfigurationTexts.h"
#include "tests/support/cKitFixture.h"
#include "tests/support/cTestHelpers.h"

#include <gtest/gtest.h>

TEST(cGlobalFile, GivesTheDirectoryAndTheNameWithAndWithoutExtension)
{
    struct
    {
        char const* path;
        char const* parts; // directory | name with extension | name without
    } const cases[] = {
        {"/p/study/front.sensor.cfg", "/p/study/|front.sensor.cfg|front.sensor"}, // only the last one goes
        {"plain", "|plain|plain"},
        {"dir.v2/.hidden", "dir.v2/|.hidden|.hidden"}, // a leading dot is no extension, nor a directory's dot
        {"/p/dir/", "/p/dir/||"},
    };
    for (auto const& c : cases)
    {
        cGlobalFile const file(c.path);
        EXPECT_EQ(file.getDirectory() + "|" + file.getRelativeFileName(true) + "|" + file.extractName(),
                  c.parts);
        EXPECT_EQ(file.getRelativeFileName(false), file.extractName());
    }
}

namespace
{
using cGlobalFileCopyTest = cKitFixture;
}

// A copy replaces the target; a missing source or an unwritable target names both paths.
TEST_F(cGlobalFileCopyTest, CopyReplacesTheTargetAndNamesBothPathsOnFailure)
{
    writeText(tempPath("a.cal"), "Name = A\n");
    writeText(tempPath("b.cal"), "Name = older and longer\n");
    cGlobalFile::copyFile(tempPath("a.cal"), tempPath("b.cal"));
    EXPECT_EQ("Name = A\n", readText(tempPath("b.cal")));
    std::string const failure =
        failureOf([&] { cGlobalFile::copyFile(tempPath("none.cal"), tempPath("c.cal")); });
    EXPECT_EQ("cFstreamOpenException|cGlobalFile::copyFile|Unable to open file: Unable to copy \"" +
                  tempPath("none.cal") + "\" to \"" + tempPath("c.cal") + "\": ",
              failure.substr(0, failure.rfind(": ") + 2));
    EXPECT_NE("no exception",
              failureOf([&] { cGlobalFile::copyFile(tempPath("a.cal"), tempPath("no/dir/c.cal")); }));
}
