#include "SimCore/cFileConfigured.h"

#include "StoreKit/cCfgInputFile.h"
#include "tests/support/cConfigurationTexts.h"
#include "tests/support/cKitFixture.h"
#include "tests/support/cTestHelpers.h"

#include <gtest/gtest.h>

namespace
{
// Opens its files the way every configured object does.
class cConfiguredObject : public cFileConfigured
{
public:
    using cFileConfigured::setConfiguration;
};

using cFileConfiguredTest = cKitFixture;
} // namespace

TEST_F(cFileConfiguredTest, OpeningReadsTheFileAndAFailedOrEmptyPathLeavesNone)
{
    std::string const path = tempPath("unit.cfg"), broken = tempPath("broken.cfg");
    writeText(path, "Name = Front\n");
    writeText(broken, "Group {\nName = x\n");
    cConfiguredObject object;
    object.setConfiguration(path);
    cCfgInputFile* file = object.getConfigurationFile();
    ASSERT_NE(nullptr, file);
    EXPECT_EQ(path, file->getFileName());
    EXPECT_TRUE(file->isWritable());
    std::string name;
    EXPECT_EQ(1, file->getTopGroup()->findItem("", "Name", name, true));
    EXPECT_EQ("Front", name);
    object.setConfiguration(std::string());
    EXPECT_EQ(nullptr, object.getConfigurationFile());

    // A failure names the file; the earlier file went before the new one was tried.
    object.setConfiguration(path);
    std::string const missing = tempPath("missing.cfg");
    EXPECT_EQ("cFstreamOpenException|cCfgInputFile::open|Unable to open file: " + missing +
                  "\nFile: " + missing,
              failureOf([&] { object.setConfiguration(missing); }));
    EXPECT_EQ(nullptr, object.getConfigurationFile());
    std::string const text = failureOf([&] { object.setConfiguration(broken); });
    EXPECT_EQ("\nFile: " + broken, text.substr(text.size() - broken.size() - 7));
    EXPECT_EQ(nullptr, object.getConfigurationFile());
}

// The sanitizer run reports a replaced file that is not deleted, or the held one deleted when adopted again.
TEST_F(cFileConfiguredTest, AdoptedFileReplacesTheHeldOne)
{
    cConfiguredObject object;
    cCfgInputFile* first = cCfgInputFile::createFile("first.cfg", cCfgInputFile::writeMode, "Unit", false);
    object.setConfiguration(first);
    object.setConfiguration(first);
    EXPECT_EQ("first.cfg", object.getConfigurationFile()->getFileName());
    cCfgInputFile* second = cCfgInputFile::createFile("second.cfg", cCfgInputFile::writeMode, "Unit", false);
    object.setConfiguration(second);
    EXPECT_EQ(second, object.getConfigurationFile());
    object.setConfiguration(static_cast<cCfgInputFile*>(nullptr));
    EXPECT_EQ(nullptr, object.getConfigurationFile());
    object.setConfiguration(cCfgInputFile::createFile("third.cfg", cCfgInputFile::writeMode, "Unit", false));
}
