#include "StoreKit/cGlobalFile.h"

#include <gtest/gtest.h>

TEST(cGlobalFile, GivesTheNameWithoutDirectoryAndExtension)
{
    cGlobalFile file("/p/study/front.sensor.cfg");
    EXPECT_EQ(file.extractName(), "front.sensor"); // only the last extension goes
    EXPECT_EQ(file.getRelativeFileName(true), "front.sensor.cfg");
    EXPECT_EQ(file.getRelativeFileName(false), "front.sensor");
    // The directory joins back to the path by plain concatenation.
    EXPECT_EQ(file.getDirectory() + file.getRelativeFileName(true), file.getFileName());
    file.setFileName("plain");
    EXPECT_EQ(file.getDirectory() + "|" + file.extractName(), "|plain");
    file.setFileName("dir.v2/.hidden"); // a leading dot is no extension, nor a dot of the directory
    EXPECT_EQ(file.getDirectory() + "|" + file.extractName(), "dir.v2/|.hidden");
    file.setFileName("/p/dir/");
    EXPECT_EQ(file.getDirectory() + "|" + file.getRelativeFileName(true), "/p/dir/|");
}
