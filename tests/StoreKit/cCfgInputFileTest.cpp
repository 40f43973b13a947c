#include "StoreKit/cCfgInputFile.h"

#include "BaseKit/cKynException.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <exception>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <sys/resource.h>
#include <unistd.h>

namespace
{
std::string readFile(std::string const& path)
{
    std::stringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

void writeFile(std::string const& path, std::string const& text)
{
    std::ofstream(path, std::ios::binary) << text;
}

std::unique_ptr<cCfgInputFile> openFile(std::string const& path, int mode = 1, bool readOnly = false)
{
    std::unique_ptr<cCfgInputFile> file(cCfgInputFile::createFile(path.c_str(), mode, "Unit", readOnly));
    file->open();
    return file;
}

template <typename F> std::string failureOf(F call)
{
    try
    {
        call();
    }
    catch (cKynException const& e)
    {
        return std::string(e.getClassName()) + "|" + e.getFunction() + "|" + e.what();
    }
    return "no exception";
}

// Each test works in a fresh folder of its own, removed afterwards.
class cCfgInputFileTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "cCfgInputFileTest-XXXXXX").string();
        ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
        m_dir = pattern + "/";
    }
    void TearDown() override { std::filesystem::remove_all(m_dir); }

    std::string folderContent() const
    {
        std::vector<std::string> names;
        for (auto const& entry : std::filesystem::directory_iterator(m_dir))
        {
            names.push_back(entry.path().filename().string());
        }
        std::sort(names.begin(), names.end());
        std::string joined;
        for (std::string const& name : names)
        {
            joined += name + ";";
        }
        return joined;
    }

    std::string m_dir;
};
} // namespace

TEST_F(cCfgInputFileTest, CreateFileModesAndTheReadOnlyFlag)
{
    std::string const path = m_dir + "a.cfg";
    std::unique_ptr<cCfgInputFile> writer = openFile(path, 2); // writing mode: open() reads nothing
    EXPECT_TRUE(writer->getMode() == 2 && writer->isWritable() && writer->getHeaderName() == "Unit");
    EXPECT_TRUE(writer->getTopGroup()->informationListEmpty());
    std::unique_ptr<cCfgInputFile> locked(cCfgInputFile::createFile(path.c_str(), 1, nullptr, true));
    EXPECT_TRUE(locked->getHeaderName().empty() && !locked->isWritable());
    EXPECT_EQ(failureOf([&] { delete cCfgInputFile::createFile(path.c_str(), 3, nullptr, false); }),
              "cGenericException|cCfgInputFile::createFile|Unknown mode 3 for file \"" + path +
                  "\": 1 (read) or 2 (write) is expected.");
    EXPECT_THROW(delete cCfgInputFile::createFile(nullptr, 1, nullptr, false), cGenericException);
}

TEST_F(cCfgInputFileTest, GoldenFileReadsAndSavesToItsExpectedText)
{
    std::string const data = SIMCORE_TEST_DATA_DIR "StoreKit/";
    std::unique_ptr<cCfgInputFile> file = openFile(data + "calibration-input.cfg");
    EXPECT_EQ(file->getHeaderName() + "|" + file->getProjectName() + "|" + file->getComment(),
              "Calibration|Old project|Old comment");
    cConfigurationGroup* list = file->getTopGroup()->findConfigurationGroup("Parameters List", true);
    int line = 0;
    list->findItemLineNumber("Count", line, true);
    EXPECT_EQ(std::to_string(list->getLineNumber()) + " " +
                  std::to_string(list->GetConfigurationGroups()[1]->getLineNumber()) + " " +
                  std::to_string(line),
              "8 16 20");

    file->setFileName(m_dir + "out.cfg");
    file->save(false, "Saved by the test\nsecond line", "Demo project");
    EXPECT_EQ(readFile(m_dir + "out.cfg"), readFile(data + "calibration-expected.cfg"));
    // What was saved reads back and saves to the same text.
    std::unique_ptr<cCfgInputFile> again = openFile(m_dir + "out.cfg");
    again->save(false, again->getComment(), again->getProjectName());
    EXPECT_EQ(readFile(m_dir + "out.cfg"), readFile(data + "calibration-expected.cfg"));
}

TEST_F(cCfgInputFileTest, ReopeningReplacesTheTreeAndASyntaxErrorKeepsIt)
{
    std::string const path = m_dir + "a.cfg";
    writeFile(path, "@File Type = Mechanical Step\nA = 1\nG {\n}\n");
    std::unique_ptr<cCfgInputFile> file = openFile(path);
    cConfigurationGroup* top = file->getTopGroup();
    writeFile(path, "B = 2\n");
    file->open();
    EXPECT_EQ(file->getTopGroup(), top); // the same object, new content
    EXPECT_TRUE(top->nbOfInformation() == 1u && top->GetChildCount() == 0u && top->getSourceFile() == path);
    EXPECT_EQ(file->getHeaderName(), "Mechanical Step"); // a file without the field keeps the header name
    writeFile(path, "C = 3\nG {\n");
    EXPECT_EQ(failureOf([&] { file->open(); }),
              "cGenericException|cConfigurationReader::read|Syntax error in file \"" + path +
                  "\" at line 2: group \"G\" opened at line 2 is not closed at the end of the file.");
    std::string value;
    EXPECT_EQ(top->findItem("", "B", value, true), 1);
}

TEST_F(cCfgInputFileTest, FilesThatCannotBeReadThrowFstreamOpenException)
{
    std::string const missing = m_dir + "missing.cfg";
    EXPECT_EQ(failureOf([&] { openFile(missing); }),
              "cFstreamOpenException|cCfgInputFile::open|Unable to open file: " + missing);
    // A directory opens but cannot be read.
    EXPECT_THROW(openFile(m_dir), cFstreamOpenException);
}

TEST_F(cCfgInputFileTest, OutOfFileHandlesThrowsTooManyOpenFiles)
{
    std::string const path = m_dir + "a.cfg";
    writeFile(path, "A = 1\n");
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
    EXPECT_EQ(failureOf([&] { std::rethrow_exception(failure); }),
              "cTooManyOpenFilesException|cCfgInputFile::open|Too many open files, unable to open: " + path);
    EXPECT_THROW(std::rethrow_exception(failure), cFstreamOpenException);
    EXPECT_NO_THROW(file->open());
}

TEST_F(cCfgInputFileTest, SaveReplacesTheFileKeepsABackupOnlyWhenAskedAndRefusesALockedFile)
{
    std::string const path = m_dir + "a.cfg";
    std::unique_ptr<cCfgInputFile> file(cCfgInputFile::createFile(path.c_str(), 2, "File List", false));
    file->getTopGroup()->addInformation("Version", 1);
    file->save(true, "", "P"); // nothing to back up yet
    EXPECT_EQ(folderContent(), "a.cfg;");
    EXPECT_EQ(readFile(path), "@File Type = File List\n@Project = P\nVersion = 1\n");
    file->getTopGroup()->replaceString("1", "2");
    file->save(false, "", "P");
    EXPECT_EQ(folderContent(), "a.cfg;");
    file->getTopGroup()->replaceString("2", "3");
    file->save(true, "", "P");
    EXPECT_EQ(folderContent(), "a.cfg;a.cfg.bak;");
    EXPECT_EQ(readFile(path + ".bak"), "@File Type = File List\n@Project = P\nVersion = 2\n");
    EXPECT_EQ(readFile(path), "@File Type = File List\n@Project = P\nVersion = 3\n");

    std::unique_ptr<cCfgInputFile> locked = openFile(path, 1, true);
    locked->getTopGroup()->addInformation("B", 2);
    EXPECT_THROW(locked->save(true, "", "P"), cFileNotWritableException);
    EXPECT_EQ(readFile(path), "@File Type = File List\n@Project = P\nVersion = 3\n");
    EXPECT_EQ(folderContent(), "a.cfg;a.cfg.bak;");
}

TEST_F(cCfgInputFileTest, FailedSaveLeavesNoTemporaryFile)
{
    // The target is a directory: the temporary file is written, but cannot replace it.
    std::string const target = m_dir + "taken";
    std::filesystem::create_directory(target);
    std::unique_ptr<cCfgInputFile> file(cCfgInputFile::createFile(target.c_str(), 2, "Unit", false));
    EXPECT_EQ(failureOf([&] { file->save(false, "", "P"); }),
              "cFstreamOpenException|cCfgInputFile::save|Unable to open file: " + target);
    EXPECT_EQ(folderContent(), "taken;");
    // A folder that does not exist: not even the temporary file can be made.
    file->setFileName(m_dir + "no/such.cfg");
    EXPECT_EQ(failureOf([&] { file->save(false, "", "P"); }),
              "cFstreamOpenException|cCfgInputFile::save|Unable to open file: " + m_dir + "no/such.cfg");
}

TEST_F(cCfgInputFileTest, LoadTemplateCompletesTheGroupWithTheMarkerReplaced)
{
    writeFile(m_dir + "channel.tpl",
              "@Project = Templates\n"
              "Description = Channel @@ of @@\n"
              "Sampling = 1000\n"
              "Criterion = @@ Output\n"
              "Criterion = @@ Raw\n"
              "Template = other.tpl\n"
              "Filter @@ {\n"
              "    \"@@ Name\" = @@ Filter\n" // quoted: a line starting with '@' is a header field
              "}\n"
              "Kept {\n"
              "}\n");
    cConfigurationGroup group("Channel");
    group.addInformation("Name", "X");
    group.addInformation("Template", "channel.tpl");
    group.addInformation("Sampling", "2000");
    group.addConfigurationGroup(new cConfigurationGroup("Kept"));
    EXPECT_TRUE(cCfgInputFile::loadTemplate(&group, m_dir, "Template", "@@", "X"));

    std::string items;
    for (sInformationItem const& item : group.getInformationRange())
    {
        items += item.key + "=" + item.value + "@" + std::to_string(item.lineNumber) + ";";
    }
    // The group's own keys win; both "Criterion" items come, the nested "Template" does not.
    EXPECT_EQ(items,
              "Name=X@0;Template=channel.tpl@0;Sampling=2000@0;Description=Channel X of X@2;Criterion=X "
              "Output@4;Criterion=X Raw@5;");
    EXPECT_EQ(*group.getInformationRange()[3].sourceFile, m_dir + "channel.tpl");
    ASSERT_EQ(group.GetChildCount(), 2u);
    cConfigurationGroup* filter = group.GetConfigurationGroups()[1];
    EXPECT_EQ(filter->getName() + "@" + std::to_string(filter->getLineNumber()) + " " +
                  filter->getSourceFile(),
              "Filter X@7 " + m_dir + "channel.tpl");
    std::string value;
    EXPECT_EQ(filter->findItem("", "X Name", value, true), 1);
    EXPECT_EQ(value, "X Filter");
    EXPECT_EQ(group.GetConfigurationGroups()[0]->getLineNumber(), 0); // its own "Kept", not the template's
}

TEST_F(cCfgInputFileTest, LoadTemplateWithoutKeyAbsoluteOrMissing)
{
    cConfigurationGroup group("Channel");
    EXPECT_FALSE(cCfgInputFile::loadTemplate(&group, m_dir, "Template", "@@", "X"));
    EXPECT_FALSE(cCfgInputFile::loadTemplate(nullptr, m_dir, "Template", "@@", "X"));
    // An absolute name is taken as it stands, not joined to the path.
    writeFile(m_dir + "abs.tpl", "Unit = g\n");
    group.addInformation("Template", m_dir + "abs.tpl");
    EXPECT_TRUE(cCfgInputFile::loadTemplate(&group, "/elsewhere/", "Template", "@@", "X"));
    EXPECT_EQ(group.nbOfInformation(), 2u);
    group.clear();
    group.addInformation("Template", "none.tpl");
    EXPECT_EQ(failureOf([&] { cCfgInputFile::loadTemplate(&group, m_dir, "Template", "@@", "X"); }),
              "cFstreamOpenException|cCfgInputFile::loadTemplate|Unable to open file: " + m_dir + "none.tpl");
}
