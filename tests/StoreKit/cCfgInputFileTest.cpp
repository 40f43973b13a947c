#include "StoreKit/cCfgInputFile.h"

#include "BaseKit/cKynException.h"

#include "tests/support/cConfigurationTexts.h"
#include "tests/support/cKitFixture.h"
#include "tests/support/cTestHelpers.h"

#include <gtest/gtest.h>

#include <exception>
#include <fcntl.h>
#include <filesystem>
#include <memory>
#include <sys/resource.h>
#include <unistd.h>

namespace
{
std::unique_ptr<cCfgInputFile> openFile(std::string const& path, int mode = 1, bool readOnly = false)
{
    std::unique_ptr<cCfgInputFile> file(cCfgInputFile::createFile(path.c_str(), mode, nullptr, readOnly));
    file->open();
    return file;
}

class cCfgInputFileTest : public cKitFixture
{
protected:
    // The files left in the folder: no temporary file may stay behind.
    long entries() const { return std::distance(std::filesystem::directory_iterator(tempFolder()), {}); }
};
} // namespace

TEST_F(cCfgInputFileTest, CreateFileRefusesANullPathAndUnknownModes)
{
    std::string const path = tempPath("a.cfg");
    EXPECT_EQ(failureOf([&] { delete cCfgInputFile::createFile(path.c_str(), 3, nullptr, false); }),
              "cGenericException|cCfgInputFile::createFile|Unknown mode 3 for file \"" + path +
                  "\": 1 (read) or 2 (write) is expected.");
    EXPECT_EQ(
        failureOf([] { delete cCfgInputFile::createFile(nullptr, 1, nullptr, false); }),
        "cGenericException|cCfgInputFile::createFile|A configuration file cannot be created without a path.");
    // In writing mode open() reads nothing: the file need not exist.
    EXPECT_TRUE(openFile(path, 2)->getTopGroup()->informationListEmpty());
}

TEST_F(cCfgInputFileTest, GoldenFileReadsAndSavesToItsExpectedText)
{
    std::string const data = SIMCORE_TEST_DATA_DIR "StoreKit/";
    std::unique_ptr<cCfgInputFile> file = openFile(data + "calibration-input.cfg");
    EXPECT_EQ(file->getHeaderName() + "|" + file->getProjectName() + "|" + file->getComment(),
              "Calibration|Old project|Old comment");
    file->setFileName(tempPath("out.cfg"));
    file->save(false, "Saved by the test\nsecond line", "Demo project");
    EXPECT_EQ(readText(tempPath("out.cfg")), readText(data + "calibration-expected.cfg"));
    EXPECT_EQ(file->getProjectName() + "|" + file->getComment(),
              "Demo project|Saved by the test\nsecond line");
}

TEST_F(cCfgInputFileTest, ReopeningReplacesTheTreeAndASyntaxErrorKeepsIt)
{
    std::string const path = tempPath("a.cfg");
    writeText(path, "@File Type = Mechanical Step\nA = 1\nG {\n}\n");
    std::unique_ptr<cCfgInputFile> file = openFile(path);
    cConfigurationGroup* top = file->getTopGroup();
    writeText(path, "B = 2\n");
    file->open();
    EXPECT_EQ(file->getTopGroup(), top); // the same object, new content
    EXPECT_TRUE(top->nbOfInformation() == 1u && top->GetChildCount() == 0u && top->getSourceFile() == path);
    EXPECT_EQ(file->getHeaderName(), "Mechanical Step"); // a file without the field keeps the header name
    writeText(path, "C = 3\nG {\n");
    EXPECT_THROW(file->open(), cGenericException); // the reader's golden pairs check the message
    EXPECT_EQ(itemsOf(*top), "B=2@1;");
}

TEST_F(cCfgInputFileTest, FilesThatCannotBeReadThrowFstreamOpenExceptionWithThePath)
{
    std::string const path = tempPath("a.cfg");
    EXPECT_EQ(failureOf([&] { openFile(path); }),
              "cFstreamOpenException|cCfgInputFile::open|Unable to open file: " + path);
    // A directory opens but cannot be read.
    EXPECT_THROW(openFile(tempFolder()), cFstreamOpenException);

    writeText(path, "A = 1\n");
    std::unique_ptr<cCfgInputFile> file = openFile(path);
    // The sanitizer's type checks need descriptors of their own: the first open above and a first
    // build of the exception fill its type cache, so that nothing needs one while the limit is low.
    std::make_unique<cTooManyOpenFilesException>("", "", 0, path).reset();
    rlimit saved{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &saved), 0);
    // The lowest free descriptor becomes the limit, so the next open is refused with EMFILE.
    int const lowest = ::open("/dev/null", O_RDONLY);
    ASSERT_GE(lowest, 0);
    ::close(lowest);
    rlimit lowered = saved;
    lowered.rlim_cur = static_cast<rlim_t>(lowest);
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &lowered), 0);
    // The caught object is looked at only once the limit is back: the sanitizer's checks need descriptors.
    std::exception_ptr failure;
    try
    {
        file->open();
    }
    catch (...)
    {
        failure = std::current_exception();
    }
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &saved), 0);
    EXPECT_THROW(std::rethrow_exception(failure), cFstreamOpenException);
    EXPECT_EQ(failureOf([&] { std::rethrow_exception(failure); }),
              "cTooManyOpenFilesException|cCfgInputFile::open|Too many open files, unable to open: " + path);
    EXPECT_NO_THROW(file->open());
}

TEST_F(cCfgInputFileTest, SaveKeepsABackupOnlyWhenAskedRefusesALockedFileAndLeavesNoTemporaryFile)
{
    std::string const path = tempPath("a.cfg");
    auto const content = [](char const* version)
    { return std::string("@File Type = File List\n@Project = P\nVersion = ") + version + "\n"; };
    std::unique_ptr<cCfgInputFile> file(cCfgInputFile::createFile(path.c_str(), 2, "File List", false));
    file->getTopGroup()->addInformation("Version", 1);
    file->save(true, "", "P"); // nothing to back up yet
    EXPECT_EQ(std::to_string(entries()) + readText(path), "1" + content("1"));
    file->getTopGroup()->replaceString("1", "2");
    file->save(false, "", "P");
    file->getTopGroup()->replaceString("2", "3");
    EXPECT_EQ(entries(), 1);
    file->save(true, "", "P");
    EXPECT_EQ(std::to_string(entries()) + readText(path + ".bak") + readText(path),
              "2" + content("2") + content("3"));
    std::unique_ptr<cCfgInputFile> locked = openFile(path, 1, true);
    locked->getTopGroup()->addInformation("B", 2);
    EXPECT_THROW(locked->save(true, "", "P"), cFileNotWritableException);
    EXPECT_EQ(std::to_string(entries()) + readText(path), "2" + content("3"));

    // The target is a directory: the temporary file is written, but cannot replace it.
    file->setFileName(tempPath("taken"));
    std::filesystem::create_directory(file->getFileName());
    EXPECT_EQ(failureOf([&] { file->save(false, "", "P"); }),
              "cFstreamOpenException|cCfgInputFile::save|Unable to open file: " + tempPath("taken"));
    EXPECT_EQ(entries(), 3);
    // A folder that does not exist: not even the temporary file can be made.
    file->setFileName(tempPath("no/such.cfg"));
    EXPECT_EQ(failureOf([&] { file->save(false, "", "P"); }),
              "cFstreamOpenException|cCfgInputFile::save|Unable to open file: " + tempPath("no/such.cfg"));
}

TEST_F(cCfgInputFileTest, LoadTemplateCompletesTheGroupWithTheMarkerReplaced)
{
    // "@@ Name" is quoted in the template: a line starting with '@' is a header field.
    std::string const data = SIMCORE_TEST_DATA_DIR "StoreKit/";
    cConfigurationGroup group("Channel");
    EXPECT_FALSE(cCfgInputFile::loadTemplate(&group, data, "Template", "@@", "X"));
    EXPECT_FALSE(cCfgInputFile::loadTemplate(nullptr, data, "Template", "@@", "X"));
    group.addInformation("Name", "X");
    group.addInformation("Template", data + "channel.tpl"); // absolute: not joined to the path
    group.addInformation("Sampling", "2000");
    group.addConfigurationGroup(new cConfigurationGroup("Kept"));
    EXPECT_TRUE(cCfgInputFile::loadTemplate(&group, "/elsewhere/", "Template", "@@", "X"));
    // The group's own keys win; both "Criterion" items come, the nested "Template" does not.
    EXPECT_EQ(itemsOf(group), "Name=X@0;Template=" + data +
                                  "channel.tpl@0;Sampling=2000@0;Description=Channel X of X@2;"
                                  "Criterion=X Output@4;Criterion=X Raw@5;");
    EXPECT_EQ(*group.getInformationRange()[3].sourceFile, data + "channel.tpl");
    ASSERT_EQ(group.GetChildCount(), 2u);
    EXPECT_EQ(group.GetConfigurationGroups()[0]->getLineNumber(), 0); // its own "Kept", not the template's
    cConfigurationGroup* filter = group.GetConfigurationGroups()[1];
    EXPECT_EQ(filter->getName() + "@" + std::to_string(filter->getLineNumber()) + " " +
                  filter->getSourceFile() + " " + itemsOf(*filter),
              "Filter X@7 " + data + "channel.tpl X Name=X Filter@8;");

    cConfigurationGroup missing("Channel");
    missing.addInformation("Template", "none.tpl");
    EXPECT_EQ(failureOf([&] { cCfgInputFile::loadTemplate(&missing, data, "Template", "@@", "X"); }),
              "cFstreamOpenException|cCfgInputFile::loadTemplate|Unable to open file: " + data + "none.tpl");
}
