#include "StoreKit/cGlobalFile.h"

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
